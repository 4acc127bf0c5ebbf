// command and spool: S2F41 and S2F43.
#include <array>
#include <fmt/format.h>
#include <map>

#include "apps/host/commands/commands.h"
#include "apps/host/commands/values.h"
#include "sml/writer.h"

namespace host {
namespace {

using hsms::Item;

constexpr std::array<std::string_view, 10> hcack{"done",
                                                 "no such command",
                                                 "cannot be done now",
                                                 "a parameter is wrong",
                                                 "accepted, an event tells when it is done",
                                                 "already so",
                                                 "no such object",
                                                 "refused, off-line",
                                                 "refused, on-line local",
                                                 "refused, no parameter says what to do"};
constexpr std::array<std::string_view, 4> cpack{"good", "no such parameter", "wrong value", "wrong format"};
constexpr std::array<std::string_view, 2> rspack{"accepted", "refused"};
constexpr std::array<std::string_view, 5> strack{"good", "not to be spooled", "no such stream",
                                                 "no such function", "a secondary"};
constexpr Codes HCACK{"HCACK", hcack};
constexpr Codes CPACK{"CPACK", cpack};
constexpr Codes RSPACK{"RSPACK", rspack};
constexpr Codes STRACK{"STRACK", strack};
constexpr std::uint64_t done_later = 4;

// A code that is the first item of a reply, or the reply itself.
std::uint64_t leading_code(const Item& reply, const char* name) {
    const Item* first = child(reply, 0);
    const auto code = first_number(first == nullptr ? reply : *first);
    if (!code) throw Refusal(fmt::format("expected {}, got {}", name, sml::one_line(reply)));
    return *code;
}

// The rows of a reply's second item, "RECIPE: CPACK 2, wrong value": names, then a code.
std::string details(const Item& reply, const Codes& codes, const char* prefix) {
    const Item* rows = child(reply, 1);
    std::string text;
    for (const Item& row : rows == nullptr ? std::vector<Item>{} : rows->children) {
        const Item* code = child(row, 1);
        const auto number = code == nullptr ? std::nullopt : first_number(*code);
        text += fmt::format("; {}{}: {}", prefix, plain_child(row, 0), codes.text(number.value_or(0)));
    }
    return text;
}

void send_command(Desk& desk, const std::string& rcmd, const Item& parameters) {
    const Item reply = desk.ask(2, 41, Item::list({Item::ascii(rcmd), parameters}));
    const std::uint64_t code = leading_code(reply, "HCACK");
    const std::string text = HCACK.text(code) + details(reply, CPACK, "");
    if (code != 0 && code != done_later) throw Refusal(rcmd + ": expected HCACK 0 or 4, got " + text);
    desk.show(rcmd + ": " + text);
}

void set_spooling(Desk& desk, const std::map<std::uint8_t, std::string>& streams) {
    Item list = Item::list();
    for (const auto& [stream, functions] : streams) {
        Item numbers = Item::list();
        for (const char function : functions)
            numbers.children.push_back(
                Item::unsigned_integers(hsms::Format::u1, {static_cast<std::uint8_t>(function)}));
        list.children.push_back(
            Item::list({Item::unsigned_integers(hsms::Format::u1, {stream}), std::move(numbers)}));
    }
    const Item reply = desk.ask(2, 43, list);
    const std::uint64_t code = leading_code(reply, "RSPACK");
    const std::string text = RSPACK.text(code) + details(reply, STRACK, "stream ");
    if (code != 0) throw Refusal("S2F43: expected RSPACK 0, got " + text);
    desk.show("S2F43 spooling: " + text);
}

// "S6F11" or "S6"; false for anything else. Function 0: the whole stream.
bool read_message_name(std::string_view text, std::uint32_t& stream, std::uint32_t& function) {
    if (text.empty() || (text.front() != 'S' && text.front() != 's')) return false;
    const std::size_t f = text.find_first_of("Ff");
    function = 0;
    if (f != std::string_view::npos && (!read_number(text.substr(f + 1), function) || function == 0))
        return false;
    return read_number(text.substr(1, f == std::string_view::npos ? f : f - 1), stream) && stream < 128 &&
           function < 256;
}

}  // namespace

Job prepare_command(Words& words) {
    const std::string rcmd = unquoted(words.take("an RCMD"));
    Item parameters = Item::list();
    while (!words.empty()) {
        const std::string word = words.take("NAME=VALUE");
        const std::size_t equals = word.find('=');
        const auto value =
            equals == std::string::npos || equals == 0 ? std::nullopt : typed_item(word.substr(equals + 1));
        if (!value) words.refuse("NAME=VALUE");
        parameters.children.push_back(Item::list({Item::ascii(word.substr(0, equals)), *value}));
    }
    return [rcmd, parameters](Desk& desk) { send_command(desk, rcmd, parameters); };
}

Job prepare_spool(Words& words) {
    std::map<std::uint8_t, std::string> streams;  // functions as bytes
    constexpr const char* expected = "none, SxFy or Sx";
    if (!words.take_if("none")) {
        do {
            std::uint32_t stream = 0;
            std::uint32_t function = 0;
            if (!read_message_name(words.take(expected), stream, function)) words.refuse(expected);
            std::string& functions = streams[static_cast<std::uint8_t>(stream)];
            if (function != 0) functions += static_cast<char>(function);
        } while (!words.empty());
    }
    return [streams](Desk& desk) { set_spooling(desk, streams); };
}

}  // namespace host
