// alarms and alarm: S5F3, S5F5 and S5F7.
#include <array>
#include <fmt/format.h>

#include "apps/host/commands/commands.h"
#include "apps/host/commands/values.h"

namespace host {
namespace {

using hsms::Item;

constexpr std::array<std::string_view, 2> ackc5{"accepted", "refused; no such alarm?"};
constexpr Codes ACKC5{"ACKC5", ackc5};

enum class Which : std::uint8_t { all, active, enabled };

void list_alarms(Desk& desk, Which which) {
    const Item all_numbers{hsms::Format::u4, {}, ""};
    const Item rows = which == Which::enabled ? desk.ask(5, 7, std::nullopt) : desk.ask(5, 5, all_numbers);
    std::size_t shown = 0;
    for (const Item& row : rows.children) {
        const auto alarm = read_alarm(row);
        if (!alarm || (which == Which::active && !alarm->set())) continue;
        desk.show(fmt::format("{} {} (category {}): {}", alarm->alid, alarm->set() ? "set" : "clear",
                              alarm->code & 0x7FU, alarm->text));
        ++shown;
    }
    desk.show(fmt::format("{} alarm(s)", shown));
}

}  // namespace

Job prepare_alarms(Words& words) {
    Which which = Which::all;
    if (words.take_if("active"))
        which = Which::active;
    else if (words.take_if("enabled"))
        which = Which::enabled;
    return [which](Desk& desk) { list_alarms(desk, which); };
}

Job prepare_alarm(Words& words) {
    const bool on = words.take_if("on");
    if (!on && words.take("on or off") != "off") words.refuse("on or off");
    Item alarm{hsms::Format::u4, {}, ""};  // without a number it is all alarms
    const std::string which(words.peek());
    if (!words.take_if("all")) alarm = number_item(words.number("an ALID or all"));
    return [on, alarm, which](Desk& desk) {
        const Item aled = Item::binary(std::string_view(on ? "\x80" : "\0", 1));
        desk.ask_code(5, 3, Item::list({aled, alarm}),
                      fmt::format("S5F3 {} {}", on ? "enable" : "disable", which), ACKC5);
    };
}

}  // namespace host
