#include "sim/controller/calls.h"

#include <array>
#include <atomic>
#include <climits>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "sim/text.h"

namespace sim {

namespace {

enum class Kind { READ, ACTION, BOOLEAN, STATUS };

constexpr int as_usual = INT_MIN;
constexpr auto op_count = static_cast<std::size_t>(Op::count_);

struct OpInfo {
    const char* name;
    Kind kind;
};

constexpr std::array<OpInfo, op_count> infos = {{
#define SIM_OP(kind, name) {#name, Kind::kind},
#include "sim/controller/operations.def"
#undef SIM_OP
}};

// One cache line each: operations that different threads call do not slow each other down.
struct alignas(64) Slot {
    std::atomic<unsigned long long> count{0};
    std::atomic<int> result{as_usual};
    std::mutex mutex;
    std::string arguments;  // guarded by mutex
};

std::array<Slot, op_count> slots;

std::atomic<bool> journal_on{false};
std::mutex journal_mutex;
JournalSink journal_sink;  // guarded by journal_mutex

Slot& slot(Op op) {
    return slots[static_cast<std::size_t>(op)];
}

std::optional<std::size_t> find(std::string_view operation) {
    static const auto index = [] {
        std::unordered_map<std::string_view, std::size_t> map;
        for (std::size_t i = 0; i < op_count; ++i) map.emplace(infos[i].name, i);
        return map;
    }();
    const auto found = index.find(operation);
    return found == index.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

void count(Op op) noexcept {
    slot(op).count.fetch_add(1, std::memory_order_relaxed);
}

void note(Op op, std::string_view arguments) {
    count(op);
    Slot& of = slot(op);
    const std::lock_guard lock(of.mutex);
    of.arguments = arguments;
}

int record(Op op, std::string arguments) {
    count(op);
    const OpInfo& info = infos[static_cast<std::size_t>(op)];
    if (journal_on.load(std::memory_order_relaxed)) {
        std::string line = info.name;
        if (!arguments.empty()) line += ' ' + arguments;
        journal(line);
    }
    Slot& of = slot(op);
    {
        const std::lock_guard lock(of.mutex);
        of.arguments = std::move(arguments);
    }
    const int result = of.result.load(std::memory_order_relaxed);
    if (result != as_usual) return result;
    return info.kind == Kind::STATUS ? 3 : 1;
}

std::optional<CallRecord> calls(std::string_view operation) {
    const auto index = find(operation);
    if (!index) return std::nullopt;
    Slot& of = slots[*index];
    const std::lock_guard lock(of.mutex);
    return CallRecord{of.count.load(std::memory_order_relaxed), of.arguments};
}

bool set_result(std::string_view operation, int result) {
    const auto index = find(operation);
    if (!index || infos[*index].kind == Kind::READ || infos[*index].kind == Kind::ACTION) return false;
    slots[*index].result.store(result, std::memory_order_relaxed);
    return true;
}

bool result_is_set(Op op) {
    return slot(op).result.load(std::memory_order_relaxed) != as_usual;
}

void reset_calls() {
    for (Slot& of : slots) {
        const std::lock_guard lock(of.mutex);
        of.count.store(0, std::memory_order_relaxed);
        of.result.store(as_usual, std::memory_order_relaxed);
        of.arguments.clear();
    }
}

void set_journal_sink(JournalSink sink) {
    const std::lock_guard lock(journal_mutex);
    journal_on.store(static_cast<bool>(sink), std::memory_order_relaxed);
    journal_sink = std::move(sink);
}

void journal(std::string_view line) {
    if (!journal_on.load(std::memory_order_relaxed)) return;
    const std::lock_guard lock(journal_mutex);
    if (journal_sink) journal_sink(one_line(line));
}

}  // namespace sim
