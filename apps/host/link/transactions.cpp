#include "apps/host/link/transactions.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "apps/host/commands/values.h"

namespace host {
namespace {

constexpr std::array<std::string_view, 6> error_words{"device id not recognised", "stream not recognised",
                                                      "function not recognised",  "illegal data",
                                                      "transaction timed out",    "data too long"};

bool is_pending(const auto& entry) {
    return entry.second.fate.outcome == Outcome::pending;
}

}  // namespace

std::optional<ErrorReport> read_error_report(const sml::Message& message) {
    const std::size_t row = message.function / 2U;  // F1, F3 ... F11
    if (message.stream != 9 || message.function % 2 == 0 || row >= error_words.size()) return std::nullopt;
    if (!message.body || message.body->format != hsms::Format::binary ||
        message.body->bytes.size() != hsms::header_size)
        return std::nullopt;
    return ErrorReport{hsms::decode_header(message.body->bytes.data()),
                       name_of(message) + ", " + std::string(error_words[row])};
}

void Transactions::open(std::uint32_t id, const sml::Message& primary) {
    std::erase_if(all_, [](const auto& entry) { return !is_pending(entry); });
    all_[id] = {primary.stream, primary.function, {}};
}

Transactions::Transaction* Transactions::pending(std::uint32_t id) {
    const auto found = all_.find(id);
    return found == all_.end() || !is_pending(*found) ? nullptr : &found->second;
}

std::string Transactions::settle(std::uint32_t id, Fate fate) {
    Transaction* transaction = pending(id);
    if (transaction == nullptr) return "";
    transaction->fate = std::move(fate);
    return name_of({transaction->stream, transaction->function, true, {}});
}

std::string Transactions::refuse(const ErrorReport& report) {
    // The equipment numbers its own primaries from where it likes: the same id alone proves nothing.
    const hsms::Header& subject = report.subject;
    const Transaction* named = pending(subject.system);
    if (named == nullptr || named->stream != subject.stream() || named->function != subject.function())
        return "";
    return settle(subject.system, {Outcome::refused, report.reason});
}

void Transactions::lose() {
    for (auto& entry : all_)
        if (is_pending(entry)) entry.second.fate.outcome = Outcome::lost;
}

bool Transactions::any_pending() const {
    return std::any_of(all_.begin(), all_.end(), [](const auto& entry) { return is_pending(entry); });
}

Fate Transactions::fate(std::uint32_t id) const {
    const auto found = all_.find(id);
    return found == all_.end() ? Fate{Outcome::lost, ""} : found->second.fate;
}

}  // namespace host
