#include "sim/controller/calls.h"

#include <unordered_map>
#include <utility>

#include "sim/text.h"

namespace sim {

namespace {

// Initialised before any operation registers itself, in any order of the files.
constinit Operation* first = nullptr;

std::atomic<bool> journal_on{false};
std::mutex journal_mutex;
JournalSink journal_sink;  // guarded by journal_mutex

Operation* find(std::string_view name) {
    static const auto index = [] {
        std::unordered_map<std::string_view, Operation*> map;
        for (Operation* one = first; one != nullptr; one = one->next) map.emplace(one->name, one);
        return map;
    }();
    const auto found = index.find(name);
    return found == index.end() ? nullptr : found->second;
}

}  // namespace

Operation::Operation(const char* its_name, OperationKind its_kind) noexcept
    : name(its_name), kind(its_kind), next(std::exchange(first, this)) {}

void note(Operation& operation, std::string_view arguments) {
    count(operation);
    const std::lock_guard lock(operation.mutex);
    operation.arguments = arguments;
}

int record(Operation& operation, std::string arguments) {
    count(operation);
    if (journal_on.load(std::memory_order_relaxed)) {
        std::string line = operation.name;
        if (!arguments.empty()) line += ' ' + arguments;
        journal(line);
    }
    {
        const std::lock_guard lock(operation.mutex);
        operation.arguments = std::move(arguments);
    }
    const int result = operation.result.load(std::memory_order_relaxed);
    if (result != Operation::as_usual) return result;
    return operation.kind == OperationKind::status ? 3 : 1;
}

std::optional<CallRecord> calls(std::string_view name) {
    Operation* const of = find(name);
    if (of == nullptr) return std::nullopt;
    const std::lock_guard lock(of->mutex);
    return CallRecord{of->count.load(std::memory_order_relaxed), of->arguments};
}

bool set_result(std::string_view name, int result) {
    Operation* const of = find(name);
    if (of == nullptr || of->kind == OperationKind::read || of->kind == OperationKind::action) return false;
    of->result.store(result, std::memory_order_relaxed);
    return true;
}

bool result_is_set(const Operation& operation) {
    return operation.result.load(std::memory_order_relaxed) != Operation::as_usual;
}

void reset_calls() {
    for (Operation* of = first; of != nullptr; of = of->next) {
        const std::lock_guard lock(of->mutex);
        of->count.store(0, std::memory_order_relaxed);
        of->result.store(Operation::as_usual, std::memory_order_relaxed);
        of->arguments.clear();
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
