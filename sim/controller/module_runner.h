// Drives one sequence module through its entry points, as the controller does.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "fa/framework/qsequence.h"

namespace sim {

/// An exception that leaves an entry point is reported in one line and the module runs on. The module is the
/// caller's and outlives the runner.
class ModuleRunner {
  public:
    explicit ModuleRunner(Talwen::QSequence& module) : module_(module) {}
    ~ModuleRunner() { stop(); }
    ModuleRunner(const ModuleRunner&) = delete;
    ModuleRunner& operator=(const ModuleRunner&) = delete;

    /// Init and Enter on this thread, then Main on a thread of its own, the event thread, and the tool's
    /// thread when the tool moves. Returns entered().
    bool start();
    /// Ends the tool, then the event thread once its queue is empty, raises Stop_Request,
    /// waits for Main, calls Exit. Harmless twice.
    void stop();

    /// True when QProgram_Enter_Code returned true.
    bool entered() const { return entered_; }
    /// Why it did not: "QProgram_Enter_Code returned false" or the exception that left it; empty when it did.
    const std::string& enter_fault() const { return enter_fault_; }
    /// True while QProgram_Main_Code runs.
    bool main_running() const { return main_running_; }

  private:
    void enter();

    Talwen::QSequence& module_;
    std::thread main_;
    std::atomic<bool> main_running_{false};
    bool started_ = false;
    bool entered_ = false;
    std::string enter_fault_;
};

}  // namespace sim
