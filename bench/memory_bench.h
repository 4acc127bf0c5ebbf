// Memory of a running equipment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/report.h"

namespace bench {

struct MemoryBenchOptions {
    std::uint16_t equipment_port = 0;
    int equipment_pid = 0;
    std::string svid_file;
};

/// Resident set after select, and what it grows by over many S1F3. Linux only: reads /proc.
std::vector<Row> run_memory_bench(const MemoryBenchOptions& options);

}  // namespace bench
