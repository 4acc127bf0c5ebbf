#include "apps/host/commands/commands.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "apps/host/commands/definitions.h"

namespace host {
namespace {

constexpr std::array table{
    Command{"define", "FILE", "takes the place of reports, links and enables as FILE says (help define)",
            prepare_define},
    Command{"names", "FILE", "names the values of reports as FILE says, and sends nothing", prepare_names},
    Command{"events", "on|off CEID...|all", "enables or disables events (S2F37)", prepare_events},
    Command{"constants", "[ECID...]", "lists constants: value (S2F13), name, limits and unit (S2F29)",
            prepare_constants},
    Command{"set", "ECID VALUE", "sets a constant (S2F15) in the format of its value", prepare_set},
    Command{"trace", "TRID SECONDS SAMPLES SVID...", "starts a trace (S2F23); its samples come as lines",
            prepare_trace},
    Command{"untrace", "TRID", "ends a trace (S2F23 of no samples)", prepare_untrace},
    Command{"alarms", "[active|enabled]", "lists alarms, those that are set (S5F5) or enabled (S5F7)",
            prepare_alarms},
    Command{"alarm", "on|off ALID|all", "enables or disables alarms (S5F3)", prepare_alarm},
    Command{"command", "RCMD [NAME=VALUE ...]", "remote command (S2F41); 5 is a U4, \"5\" and PM1 are texts",
            prepare_command},
    Command{"spool", "none | SxFy|Sx ...", "the messages to be spooled (S2F43); Sx is the whole stream",
            prepare_spool},
    Command{"clock", "[set [TIME]]", "reads the clock (S2F17) or sets it (S2F31); TIME as YYYYMMDDhhmmsscc",
            prepare_clock},
    Command{"messages", "on|off", "shows messages as SML, or only what they say", prepare_messages},
    Command{"watch", "", "live screen of link, wafers, alarms and events; q or Enter leaves it",
            prepare_watch, true},
    Command{"help", "[define|script]", "this list, the definition file, the script grammar", prepare_help},
};

}  // namespace

std::string command_list() {
    std::string text = "Commands, one a line:\n";
    for (const Command& command : table)
        text += fmt::format("  {:<38} {}\n", std::string(command.name) + " " + std::string(command.arguments),
                            command.help);
    return text +
           "  reconnect                              closes the link and selects again\n"
           "  quit                                   ends the host\n"
           "Where the equipment does not communicate yet, commands that send wait for that (help script: "
           "wait "
           "communicating).\nA value may be an SML item too: <U1 5>. All else is SML up to its dot: S1F3 W "
           "<L <U4 1001>>.\n";
}

std::span<const std::string_view> command_names() {
    static const auto names = [] {
        std::array<std::string_view, table.size()> list;
        std::ranges::transform(table, list.begin(), &Command::name);
        return list;
    }();
    return names;
}

Job prepare(const sml::Step& step, bool in_script) {
    Words words(step.command, step.place);
    const std::string name = words.take("a command");
    const auto* command = std::ranges::find(table, std::string_view(name), &Command::name);
    if (command == table.end()) words.refuse("a command; help lists them");
    if (in_script && command->console_only) words.refuse("a command that scripts have too");
    Job job = command->prepare(words);
    words.end();
    return job;
}

Job prepare_messages(Words& words) {
    const std::string which = words.take("on or off");
    if (which != "on" && which != "off") words.refuse("on or off");
    return [shown = which == "on"](Desk& desk) { desk.monitor().printer().show_messages(shown); };
}

Job prepare_help(Words& words) {
    std::string text = command_list();
    if (words.take_if("define"))
        text = definition_grammar;
    else if (words.take_if("script"))
        text = sml::script_grammar;
    return [text](Desk& desk) { desk.monitor().printer().help(text); };
}

}  // namespace host
