// Encoding and decoding of message bodies in this process, against memcpy of the same bytes.
#pragma once

#include <string>
#include <vector>

#include "bench/report.h"

namespace bench {

/// `status_body`: a body of 100 mixed items; the other bodies are made here.
std::vector<Row> run_codec_bench(const std::string& status_body);

/// A body of 100 mixed items, for runs without an equipment.
std::string sample_status_body();

}  // namespace bench
