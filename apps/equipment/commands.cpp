#include "apps/equipment/commands.h"

#include <algorithm>
#include <array>
#include <exception>

#include "sim/controller/console.h"
#include "sim/os.h"
#include "sim/text.h"

namespace equipment {

namespace {

std::string run_help(Context&, std::string_view) {
    for (const Command& command : commands()) {
        sim::print_answer("  " + std::string(command.usage) + "\n      " + command.help);
    }
    return "ok";
}

/// The answer comes when the module has stopped.
std::string run_quit(Context&, std::string_view) {
    sim::os::request_stop();
    return {};
}

constexpr std::array table = {
    Command{"event", "event TEXT", "posts an event to the module and waits until it has been handled",
            run_event},
    Command{"repeat", "repeat N event TEXT", "posts it N times; {n} in TEXT is the count from 1", run_repeat},
    Command{"io", "io NAME [= VALUE]", "reads or writes an IO point", run_io},
    Command{"mem", "mem NAME [= VALUE]", "the same on the point's memory value", run_mem},
    Command{"gem", "gem NAME [= VALUE]", "reads or writes a GEM status point", run_gem},
    Command{"fa", "fa NAME [= VALUE]", "reads or writes an FA setting or state", run_fa},
    Command{"dvid", "dvid NAME", "the value that a data variable was given last", run_dvid},
    Command{"ctc", "ctc NAME CM [SLOT] [= VALUE]", "reads or writes a cluster-tool point; CM and SLOT from 0",
            run_ctc},
    Command{"alarm", "alarm post|clear ID", "puts an alarm on the alarm queue or takes it off", run_alarm},
    Command{"carrier", "carrier arrive PORT ID | carrier remove PORT",
            "places or removes a carrier; PORT from 1", run_carrier},
    Command{
        "table", "table KIND [ID] | table add KIND TEXT",
        "a table's ids, one record's fields, or new records; KIND is SVID, ECID, RVID, DVID, RPTID, CEID, "
        "TRID, TMSG, ALID or SPOOL",
        run_table},
    Command{"flag", "flag NAME", "Comm_New_Version, Main_Monitor_Running, TRID_Monitor_Running or Reconnect",
            run_flag},
    Command{"calls", "calls NAME", "how often the module has called an operation, and the last arguments",
            run_calls},
    Command{"result", "result NAME N", "what an operation returns from now on", run_result},
    Command{"clock", "clock", "the equipment clock", run_clock},
    Command{"status", "status", "the module's states in one line", run_status},
    Command{"link", "link", "the link's state, port and peer", run_link},
    Command{"flush", "flush", "returns once all that was logged is in the files", run_flush},
    Command{"help", "help", "lists the commands", run_help},
    Command{"quit", "quit", "stops in order", run_quit},
};

}  // namespace

std::span<const Command> commands() {
    return table;
}

std::string answer(Context& context, std::string_view line) {
    std::string_view rest = line;
    const std::string_view name = sim::take_word(rest);
    const auto command = std::ranges::find_if(table, [name](const Command& c) { return c.name == name; });
    if (command == table.end()) return "! unknown command '" + sim::one_line(name) + "'; help lists them";
    // A usage that is the bare name takes no arguments.
    if (command->usage == command->name && !sim::trim(rest).empty())
        return "! expected " + std::string(command->name) + " alone";
    try {
        const std::string value = command->run(context, rest);
        return command->run == run_quit ? "" : "= " + sim::one_line(value);
    } catch (const std::exception& error) {
        return "! " + sim::one_line(error.what());
    }
}

int number_argument(std::string_view text, const char* what) {
    const auto number = sim::read_int(sim::trim(text));
    if (!number) throw Refusal(std::string(what) + " must be a whole number");
    return *number;
}

}  // namespace equipment
