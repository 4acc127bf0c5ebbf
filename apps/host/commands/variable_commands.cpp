// constants, set, trace, untrace and clock: values and time (S2F13, S2F15, S2F17, S2F23, S2F29, S2F31).
#include <array>
#include <fmt/format.h>

#include "apps/host/commands/commands.h"
#include "apps/host/commands/values.h"
#include "apps/host/link/auto_reply.h"

namespace host {
namespace {

using hsms::Item;

constexpr std::array<std::string_view, 4> eac{"accepted", "no such constant", "busy", "value out of range"};
constexpr std::array<std::string_view, 2> tiack{"accepted", "not done"};
constexpr std::array<std::string_view, 7> tiaack{
    "accepted",         "too many variables",
    "no more traces",   "wrong period or number of samples",
    "no such variable", "wrong format, or wrong number of samples in a report",
    "TRID out of range"};
constexpr Codes EAC{"EAC", eac};
constexpr Codes TIACK{"TIACK", tiack};
constexpr Codes TIAACK{"TIAACK", tiaack};

constexpr std::uint32_t longest_period = 99 * 3600 + 59 * 60 + 59;  // seconds that hhmmss can say
constexpr std::uint32_t most_samples = 2'100'000'000;

// S2F30: L[6] ECID ECNAME ECMIN ECMAX ECDEF UNITS; an empty list for a constant that is not described.
std::string constant_line(const std::string& ecid, const std::string& value, const Item& row) {
    if (row.children.size() != 6) return fmt::format("{} = {}", ecid, value);
    return fmt::format("{} = {} {} ({}, {} to {}, default {})", plain_child(row, 0), value,
                       plain_child(row, 5), plain_child(row, 1), plain_child(row, 2), plain_child(row, 3),
                       plain_child(row, 4));
}

void list_constants(Desk& desk, const std::vector<std::uint32_t>& ecids) {
    const Item rows = desk.ask(2, 29, number_list(ecids));
    const Item values = desk.ask(2, 13, number_list(ecids));
    const std::size_t count = std::max(rows.children.size(), values.children.size());
    for (std::size_t i = 0; i < count; ++i) {
        // When all constants were asked for, one that is not described is shown by its place in the list.
        const std::string ecid = i < ecids.size() ? std::to_string(ecids[i]) : fmt::format("[{}]", i + 1);
        const Item* row = child(rows, i);
        desk.show(constant_line(ecid, plain_child(values, i), row == nullptr ? Item::list() : *row));
    }
}

Item pair(Item first, Item second) {
    return Item::list({std::move(first), std::move(second)});
}

void set_constant(Desk& desk, std::uint32_t ecid, const std::string& text) {
    const bool own_format = text.starts_with('<') || text.starts_with('"');
    std::optional<Item> value = typed_item(text);
    if (!own_format) {
        const Item now = desk.ask(2, 13, number_list({ecid}));
        const Item* old = child(now, 0);
        if (old != nullptr) value = typed_item(text, old->format);
        if (!value) throw Refusal(fmt::format("expected a value like {}, got {}", plain_child(now, 0), text));
    }
    desk.ask_code(2, 15, Item::list({pair(number_item(ecid), *value)}), fmt::format("S2F15 set {}", ecid),
                  EAC);
}

// S2F23: L[5] TRID DSPER TOTSMP REPGSZ L[n] SVID
void trace(Desk& desk, std::uint32_t trid, std::uint32_t seconds, std::uint32_t samples,
           const std::vector<std::uint32_t>& svids) {
    const std::string dsper = fmt::format("{:02}{:02}{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    desk.ask_code(2, 23,
                  Item::list({number_item(trid), Item::ascii(dsper), number_item(samples), number_item(1),
                              number_list(svids)}),
                  fmt::format("S2F23 {} trace {}", samples == 0 ? "end" : "start", trid), TIAACK);
}

}  // namespace

Job prepare_constants(Words& words) {
    std::vector<std::uint32_t> ecids;
    if (!words.empty()) ecids = words.numbers("an ECID");
    return [ecids](Desk& desk) { list_constants(desk, ecids); };
}

Job prepare_set(Words& words) {
    const std::uint32_t ecid = words.number("an ECID");
    const std::string value = words.take("a value");
    if (!typed_item(value)) words.refuse("a value");
    return [ecid, value](Desk& desk) { set_constant(desk, ecid, value); };
}

Job prepare_trace(Words& words) {
    const std::uint32_t trid = words.number("a TRID");
    const std::uint32_t seconds = words.number("a period of 1 to 359999 seconds", 1, longest_period);
    const std::uint32_t samples = words.number("1 to 2100000000 samples", 1, most_samples);
    const auto svids = words.numbers("an SVID");
    return [=](Desk& desk) {
        desk.monitor().name_trace(trid, svids);
        trace(desk, trid, seconds, samples, svids);
    };
}

Job prepare_untrace(Words& words) {
    return [trid = words.number("a TRID")](Desk& desk) { trace(desk, trid, 1, 0, {}); };
}

Job prepare_clock(Words& words) {
    if (!words.take_if("set"))
        return [](Desk& desk) { desk.show("clock " + plain(desk.ask(2, 17, std::nullopt))); };
    const std::string time = words.empty() ? "" : unquoted(words.take("a time"));
    return [time](Desk& desk) {
        const std::string text = time.empty() ? clock_text() : time;
        desk.ask_code(2, 31, Item::ascii(text), "S2F31 set " + text, TIACK);
    };
}

}  // namespace host
