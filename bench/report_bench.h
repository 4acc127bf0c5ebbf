// Event reports of the module: what queuing one costs, how fast a burst of them gets through.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/report.h"

namespace bench {

/// Runs the module in this process on a generated machine below `folder`, against the echo server on that
/// port as the yardstick.
std::vector<Row> run_report_bench(std::uint16_t echo_port, const std::string& folder);

/// Start-up, S1F3 and S6F11 with large tables beside small ones, in this process without a link.
std::vector<Row> run_table_bench(const std::string& folder);

}  // namespace bench
