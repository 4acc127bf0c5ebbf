// What the module prints and logs, kept for a test while the object lives. Any thread.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sim/controller/console.h"
#include "sim/controller/system_log.h"

namespace sim {

template <class Line>
class Capture {
  public:
    Capture() = default;
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    std::vector<Line> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    /// How many lines hold `part`.
    std::size_t count(std::string_view part) const {
        const auto kept = lines();
        return static_cast<std::size_t>(std::ranges::count_if(
            kept, [part](const Line& line) { return line.text.find(part) != std::string::npos; }));
    }
    bool contains(std::string_view part) const { return count(part) > 0; }
    void clear() {
        const std::lock_guard lock(mutex_);
        lines_.clear();
    }

  protected:
    ~Capture() = default;
    void keep(Line line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Line> lines_;  // guarded by mutex_
};

/// The console lines (colour, tag, text), which do not go to standard output meanwhile.
class ConsoleCapture : public Capture<ConsoleLine> {
  public:
    ConsoleCapture() {
        set_console_sink([this](const ConsoleLine& line) { keep(line); });
    }
    ~ConsoleCapture() { set_console_sink(nullptr); }
};

struct SystemLogLine {
    Talwen::LOG_TYPE type;
    std::string text;
};

/// The framework log's lines.
class SystemLogCapture : public Capture<SystemLogLine> {
  public:
    SystemLogCapture() {
        set_system_log_sink([this](Talwen::LOG_TYPE type, std::string_view text) {
            keep({type, std::string(text)});
        });
    }
    ~SystemLogCapture() { set_system_log_sink(nullptr); }
};

}  // namespace sim
