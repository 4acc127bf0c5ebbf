// A run over a bad network and the comparison of the two sides' records.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace faults {

struct RunOptions {
    int seed = 1;
    std::chrono::seconds length{20};
    int cuts = 8;
    int flips = 0;  ///< above 0: only the invariants count
};

struct RunResult {
    std::vector<std::string> figures;   ///< one line each
    std::vector<std::string> findings;  ///< what must not be; empty for a good run
};

RunResult run(const RunOptions& options);

}  // namespace faults
