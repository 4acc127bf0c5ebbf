// A generated machine with tables of any size, for the benchmarks.
#pragma once

#include <cstddef>
#include <filesystem>

namespace bench {

struct MachineSize {
    std::size_t variables;         ///< status and report variables each; numbers from 1
    std::size_t reports;           ///< numbers from 1
    std::size_t events;            ///< event n sends report n
    std::size_t report_variables;  ///< of each report
};

/// Writes machine.toml and Z/FA/... below the folder: analog, digital and text points in turn, bound to a
/// variable each; a passive link on a free port of loopback.
void write_machine(const std::filesystem::path& folder, const MachineSize& size);

}  // namespace bench
