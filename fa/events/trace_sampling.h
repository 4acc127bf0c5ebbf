// When the samples of the traces are due: what the trace monitor does at each look and each pass, without its
// clock and its queue.
#pragma once

#include <memory>
#include <vector>

#include "fa/config/definition_tables.h"

namespace Talwen {

/// A sample to be sent: trace and running number, from 1.
struct Trace_Sample {
    int TRID = 0;
    int SMPLN = 0;
};

using Trace_Records = std::vector<std::shared_ptr<TRID_STRU>>;

/// A trace that was not among the `known` ones has its start now, `pass_ms` into the current pass: so much is
/// taken off beforehand, for the pass counts in full. `known` becomes `now`; it keeps its records alive, so
/// that no new one is taken for an old one at the same address.
void Start_New_Traces(Trace_Records& known, Trace_Records now, int pass_ms);

/// One pass over the traces: `pass_ms` are counted towards their next samples, and, with `running`, each
/// trace whose period is over gives one sample, keeping the rest of the time for the next. A period below 1
/// gives a sample at each pass. A trace that has taken its TOTSMP samples rests.
std::vector<Trace_Sample> Take_Due_Samples(const Trace_Records& traces, int pass_ms, bool running);

}  // namespace Talwen
