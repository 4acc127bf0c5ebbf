// Recorded calls: how often the module has called each operation of the controller interface, with what
// arguments last, and what the operation answers from now on. Any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

enum class Op : int {
#define SIM_OP(kind, name) name,
#include "sim/controller/operations.def"
#undef SIM_OP
    count_
};

/// Counts a call (one relaxed add).
void count(Op op) noexcept;
/// Counts a call and keeps its arguments as the last ones; no journal line.
void note(Op op, std::string_view arguments);
/// Counts a call of a setter or request, keeps its arguments as the last ones and writes the journal line.
/// Returns the operation's result: what set_result() asked for, else 1 (BOOLEAN) or 3 (STATUS).
int record(Op op, std::string arguments);

struct CallRecord {
    unsigned long long count = 0;
    std::string arguments;  ///< of the last call; empty for plain reads
};

/// Nothing when no operation has that name.
std::optional<CallRecord> calls(std::string_view operation);
/// Sets what a setter or request returns; false for operations without a settable result and unknown names.
bool set_result(std::string_view operation, int result);
/// True when set_result() has set what the operation returns.
bool result_is_set(Op op);
/// All counts to 0, arguments empty, results as at start.
void reset_calls();

/// Where journal lines ("NAME ARGUMENTS") go; null for nowhere, as at start. Called on the caller's thread,
/// one line at a time.
using JournalSink = std::function<void(std::string_view line)>;
void set_journal_sink(JournalSink sink);
/// Writes a journal line of somebody else's (the SECS driver's operations), in order with ours.
void journal(std::string_view line);

}  // namespace sim
