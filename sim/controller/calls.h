// Recorded calls: how often the module has called each operation of the controller interface, with what
// arguments last, and what the operation answers from now on. Any thread.
//
// An operation is registered where it is written, by SIM_READ(name) or one of its kin ahead of the function,
// which knows it as Op::name from there on. The pure string helpers are not counted.
#pragma once

#include <atomic>
#include <climits>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

enum class OperationKind {
    read,     ///< counted; printing, logging, sleeping, opening files and searching points by pattern keep
              ///< their last arguments too
    action,   ///< a setter or request: counted, last arguments kept, one journal line; no settable result
    boolean,  ///< an action whose result is true unless set otherwise (0: refused, nothing is changed)
    status,   ///< an action whose result is FUNC_FINISHED unless set otherwise
};

/// One operation and what is known of its calls; lives as long as the process. In cache lines of its own:
/// operations that different threads call do not slow each other down.
struct alignas(64) Operation {
    Operation(const char* its_name, OperationKind its_kind) noexcept;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    static constexpr int as_usual = INT_MIN;

    const char* const name;
    const OperationKind kind;
    Operation* const next;  // in the list of all
    std::atomic<unsigned long long> count{0};
    std::atomic<int> result{as_usual};
    std::mutex mutex;
    std::string arguments;  // guarded by mutex
};

#define SIM_OPERATION(kind, name)                                    \
    namespace Op {                                                   \
    static ::sim::Operation name(#name, ::sim::OperationKind::kind); \
    }
#define SIM_READ(name) SIM_OPERATION(read, name)
#define SIM_ACTION(name) SIM_OPERATION(action, name)
#define SIM_BOOLEAN(name) SIM_OPERATION(boolean, name)
#define SIM_STATUS(name) SIM_OPERATION(status, name)

/// Counts a call (one relaxed add).
inline void count(Operation& operation) noexcept {
    operation.count.fetch_add(1, std::memory_order_relaxed);
}
/// Counts a call and keeps its arguments as the last ones; no journal line.
void note(Operation& operation, std::string_view arguments);
/// Counts a call of a setter or request, keeps its arguments as the last ones and writes the journal line.
/// Returns the operation's result: what set_result() asked for, else 1 (boolean, action) or 3 (status).
int record(Operation& operation, std::string arguments);

struct CallRecord {
    unsigned long long count = 0;
    std::string arguments;  ///< of the last call; empty for plain reads
};

/// Nothing when no operation has that name.
std::optional<CallRecord> calls(std::string_view operation);
/// Sets what a setter or request returns; false for operations without a settable result and unknown names.
bool set_result(std::string_view operation, int result);
/// True when set_result() has set what the operation returns.
bool result_is_set(const Operation& operation);
/// All counts to 0, arguments empty, results as at start.
void reset_calls();

/// Where journal lines ("NAME ARGUMENTS") go; null for nowhere, as at start. Called on the caller's thread,
/// one line at a time.
using JournalSink = std::function<void(std::string_view line)>;
void set_journal_sink(JournalSink sink);
/// Writes a journal line of somebody else's (the SECS driver's operations), in order with ours.
void journal(std::string_view line);

}  // namespace sim
