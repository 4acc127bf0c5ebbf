// A module that notes the events it is told.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "sim/controller/module_runner.h"

namespace sim {

using Texts = std::vector<std::string>;

class Recorder : public Talwen::QSequence {
  public:
    Talwen::FUNC_STATUS QProgram_Main_Code(const char*) override {
        while (Stop_Request == 0) Talwen::QTime_MSleep(1);
        return Talwen::FUNC_FINISHED;
    }
    void QProgram_Event_Code(const char* text) override {
        const std::lock_guard lock(mutex_);
        heard_.emplace_back(text);
        changed_.notify_all();
    }
    void wait_for(const std::string& text) {
        std::unique_lock lock(mutex_);
        const auto came = [&] { return std::ranges::count(heard_, text) > 0; };
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), came)) << text;
    }
    Texts heard() {
        const std::lock_guard lock(mutex_);
        return heard_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Texts heard_;
};

}  // namespace sim
