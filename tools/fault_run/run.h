// What the program does: a run with equipment and host of its own, or the bad network alone.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/fault_run/network.h"

namespace faults {

struct Options {
    std::filesystem::path data = "demo/machine";  ///< of the equipment
    std::optional<Endpoint> target;               ///< only the network, to this equipment or host
    Endpoint listen{"127.0.0.1", 0};              ///< of the network, when there is a target
    std::chrono::seconds length{20};
    int cuts = 8;
    Plan plan;  ///< with most_flips above 0 only crash and hang count
};

struct Result {
    std::vector<std::string> figures;   ///< one line each
    std::vector<std::string> findings;  ///< what must not be; empty for a good run
};

/// Equipment and host talk over the network; then their records are compared. A stop signal ends the work
/// early. Throws std::runtime_error when it cannot be begun.
Result run_both(const Options& options);
/// Prints "= ready PORT", passes on what the user's two sides say until the time is over or a stop signal
/// comes, and gives the network's figures.
Result run_network(const Options& options);

}  // namespace faults
