#include "apps/host/commands/desk.h"

#include <chrono>
#include <fmt/format.h>

#include "apps/host/commands/values.h"
#include "sml/writer.h"

namespace host {

using hsms::Item;

std::string Codes::text(std::uint64_t code) const {
    const bool known = code < words.size() && !words[code].empty();
    return fmt::format("{} {}, {}", name, code, known ? words[code] : "a code without a known meaning");
}

// What came in place of the acceptance; empty when the host may go on.
std::string Desk::try_to_establish() {
    const Host::Sent sent = host_.usable() ? host_.send({1, 13, true, Item::list()}) : Host::Sent{};
    if (sent.id == 0) return "a closed link";
    const Outcome outcome = host_.wait_outcome(sent.id).outcome;
    if (outcome == Outcome::timed_out) return "no reply within T3";
    if (outcome == Outcome::lost) return "a closed link";
    const std::optional<Received> reply = host_.take_reply_to(sent.id);
    if (!reply || reply->message.function == 0 || host_.wait_communicating(Milliseconds(0))) return "";
    return sml::one_line(reply->message);
}

// The host's S1F13 may put the equipment back to its initial control state, so the equipment's own, which it
// sends once selected, goes first.
void Desk::establish() {
    const auto deadline = std::chrono::steady_clock::now() + patience_;
    for (Milliseconds pause(500); !host_.wait_communicating(pause); pause = Milliseconds(1000)) {
        const std::string got = try_to_establish();
        if (got.empty()) return;
        if (!host_.usable() || std::chrono::steady_clock::now() >= deadline)
            throw Refusal("expected S1F14 with COMMACK 0, got " + got);
    }
}

Item Desk::ask(std::uint8_t stream, std::uint8_t function, std::optional<Item> body) {
    const sml::Message primary{stream, function, true, std::move(body)};
    const sml::Message secondary{stream, static_cast<std::uint8_t>(function + 1), false, {}};
    const std::string expected = "expected " + name_of(secondary) + ", got ";
    if (input_ != nullptr) host_.wait_selected(patience_);
    if (!host_.usable()) throw Refusal(expected + "a closed link");
    establish();
    const Host::Sent sent = host_.send(primary);
    if (!sent.error.empty()) throw Refusal("expected to send " + name_of(primary) + ", but " + sent.error);
    const Fate fate = host_.wait_outcome(sent.id);
    if (fate.outcome == Outcome::timed_out) throw Refusal(expected + "no reply within T3");
    if (fate.outcome == Outcome::refused) throw Refusal(expected + fate.reason);
    const std::optional<Received> reply = host_.take_reply_to(sent.id);
    if (!reply) throw Refusal(expected + "a closed link");
    if (!reply->defect.empty()) throw Refusal(expected + "one whose " + reply->defect);
    if (reply->message.stream != stream || reply->message.function != secondary.function)
        throw Refusal(expected + sml::one_line(reply->message) +
                      (reply->message.function == 0 ? " (refused; off-line?)" : ""));
    return reply->message.body.value_or(Item::list());
}

std::uint64_t Desk::check_code(std::uint8_t stream, std::uint8_t function, std::optional<Item> body,
                               const std::string& what, const Codes& codes, std::uint64_t tolerated) {
    const Item reply = ask(stream, function, std::move(body));
    const auto code = first_number(reply);
    if (!code) throw Refusal(fmt::format("{}: expected {}, got {}", what, codes.name, sml::one_line(reply)));
    if (*code != 0 && *code != tolerated)
        throw Refusal(fmt::format("{}: expected {} 0, got {}", what, codes.name, codes.text(*code)));
    return *code;
}

std::uint64_t Desk::ask_code(std::uint8_t stream, std::uint8_t function, std::optional<Item> body,
                             const std::string& what, const Codes& codes, std::uint64_t tolerated) {
    const std::uint64_t code = check_code(stream, function, std::move(body), what, codes, tolerated);
    show(what + ": " + codes.text(code));
    return code;
}

}  // namespace host
