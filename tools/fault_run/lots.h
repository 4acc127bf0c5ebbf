// Lots in a run: carriers come, are processed at the host's command, and go.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tools/fault_run/host.h"

namespace faults {

/// One lot after the other on load ports 2 and 3, a thread for each port. A command is tried again until the
/// equipment takes it, so a cut costs time and no lot.
class Lots {
  public:
    explicit Lots(Host& host);
    /// No more carriers; waits for those that are there. What is wrong with the equipment's counts then, one
    /// line each.
    std::vector<std::string> finish(std::chrono::milliseconds limit);

  private:
    void run(const std::stop_token& stop, int port);
    void run_lot(const std::stop_token& stop, int port);

    Host& host_;
    std::atomic<bool> last_{false};
    std::atomic<int> carriers_{0};
    std::atomic<int> gone_{0};
    std::vector<std::jthread> threads_;
};

}  // namespace faults
