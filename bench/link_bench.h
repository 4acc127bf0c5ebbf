// Round trips through the whole equipment, against the echo server.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/report.h"

namespace bench {

struct LinkBenchOptions {
    std::uint16_t echo_port = 0;
    std::uint16_t equipment_port = 0;
    std::string svid_file;  ///< the equipment's SVID.cfg
    int rounds = 40;
    int exchanges = 500;  ///< per round and kind
};

struct LinkBenchResult {
    std::vector<Row> rows;
    std::string status_body;  ///< the equipment's S1F4 of 100 items
};

LinkBenchResult run_link_bench(const LinkBenchOptions& options);

}  // namespace bench
