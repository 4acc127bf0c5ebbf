// From S6F12 in to the next S6F11 out: the equipment with a filled queue, against the canned equipment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/report.h"

namespace bench {

struct StepBenchOptions {
    std::uint16_t canned_port = 0;
    std::uint16_t equipment_port = 0;  ///< of an equipment on a step machine
    std::string commands;              ///< a named pipe that is the equipment's standard input
    std::string answers;               ///< the file that is its standard output
    int rounds = 20;
    int steps = 1000;  ///< of each per round
};

/// The folder of a machine whose event 1 sends one report of 20 values; for the equipment of
/// run_step_bench().
void write_step_machine(const std::string& folder);

std::vector<Row> run_step_bench(const StepBenchOptions& options);

}  // namespace bench
