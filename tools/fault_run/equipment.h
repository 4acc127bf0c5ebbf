// The equipment's side of a run: the module on a copy of a data folder, its tool at work, numbered events on
// top. One at a time in a process.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "fa/module/bc_fa.h"
#include "sim/controller/module_runner.h"

namespace faults {

class Equipment {
  public:
    /// Works on a copy of `data` in a temporary folder, on a free port of loopback; T5, T6 and T7 are one
    /// second. Throws std::runtime_error when it does not start.
    Equipment(const std::filesystem::path& data, int seed);
    /// The folder is removed, unless it was kept.
    ~Equipment();
    Equipment(const Equipment&) = delete;
    Equipment& operator=(const Equipment&) = delete;

    std::uint16_t port() const;
    /// Leaves the folder with its logs there, and says where it is.
    const std::filesystem::path& keep_folder();
    /// Raises the next numbered event, unless the module refuses it (it is not on-line). One thread.
    void raise_numbered();
    /// Posts any other event command.
    static void post(const std::string& text);
    /// The number raised last; those refused leave no gap.
    int last_number() const { return next_number_ - 1; }
    /// Why an event could not be raised, other than being refused; empty when all could. Not while one is.
    const std::string& fault() const { return fault_; }
    /// Waits of the module for an answer that ended without one.
    int answers_missed() const { return answers_missed_; }
    /// False when the module has still something to send after `limit`.
    bool sends_all(std::chrono::milliseconds limit) const;

  private:
    void listen_to_module();
    void start();
    void stop();

    std::filesystem::path folder_;
    bool kept_ = false;
    std::atomic<int> answers_missed_{0};
    std::atomic<bool> refused_{false};
    std::string posted_;  // the numbered event under way; under posted_mutex_
    std::string fault_;
    std::mutex posted_mutex_;
    int next_number_;
    std::unique_ptr<Talwen::BC_FA> module_;
    std::unique_ptr<sim::ModuleRunner> runner_;
};

}  // namespace faults
