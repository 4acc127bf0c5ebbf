#include "fa/events/trace_sampling.h"

#include <algorithm>
#include <limits>
#include <unordered_set>

namespace Talwen {

void Start_New_Traces(Trace_Records& known, Trace_Records now, int pass_ms) {
    const std::unordered_set<std::shared_ptr<TRID_STRU>> before(known.begin(), known.end());
    for (const auto& trace : now)
        if (before.count(trace) == 0) trace->elapsed = trace->elapsed - pass_ms;
    known = std::move(now);
}

std::vector<Trace_Sample> Take_Due_Samples(const Trace_Records& traces, int pass_ms, bool running) {
    std::vector<Trace_Sample> samples;
    for (const auto& trace : traces) {
        if (trace->sample_count >= trace->TOTSMP) continue;
        const long long sum = static_cast<long long>(trace->elapsed) + pass_ms;
        int elapsed = static_cast<int>(std::min<long long>(sum, std::numeric_limits<int>::max()));
        if (trace->period < 1) elapsed = 0;  // only a damaged file has such a trace
        if (running && elapsed >= trace->period) {
            elapsed -= std::max(trace->period, 0);
            trace->sample_count = trace->sample_count + 1;
            samples.push_back({trace->TRID, trace->sample_count});
        }
        trace->elapsed = elapsed;
    }
    return samples;
}

}  // namespace Talwen
