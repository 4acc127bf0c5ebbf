// Commands that look at the module, its link and its logs.
#include <array>

#include "apps/equipment/commands.h"
#include "apps/equipment/logs.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "hsms/driver/driver_config.h"
#include "sim/controller/console.h"
#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"
#include "sim/text.h"

namespace equipment {

namespace {

struct Flag {
    const char* name;
    bool (*get)();
};

constexpr std::array flags = {
    Flag{"Comm_New_Version", Talwen::QFA_Get_Comm_New_Version_Flag},
    Flag{"Main_Monitor_Running", Talwen::QFA_Get_Main_Monitor_Running_Flag},
    Flag{"TRID_Monitor_Running", Talwen::QFA_Get_TRID_Monitor_Running_Flag},
    Flag{"Reconnect", Talwen::QFA_Get_Reconnect_Flag},
};

}  // namespace

std::string run_flag(Context&, std::string_view arguments) {
    for (const Flag& flag : flags) {
        if (sim::trim(arguments) == flag.name) return flag.get() ? "1" : "0";
    }
    throw Refusal("expected flag Comm_New_Version|Main_Monitor_Running|TRID_Monitor_Running|Reconnect");
}

std::string run_status(Context& context, std::string_view) {
    std::string line = std::string("Enter=") + (context.runner.entered() ? "1" : "0");
    for (const char* name : {"LinkMD", "CtrlMD"})
        line += std::string(" ") + name + "=" + sim::machine().fa(name);
    for (const char* name :
         {"Comm_Enable", "Comm_Establish", "Online_Status", "Remote_Status", "Control_State"}) {
        line += std::string(" ") + name + "=" + sim::machine().gem(name);
    }
    line += std::string(" Reconnect=") + (Talwen::QFA_Get_Reconnect_Flag() ? "1" : "0");
    return line + " Queue=" + std::to_string(Talwen::QFA_Message_Queue_Length());
}

std::string run_link(Context&, std::string_view) {
    const hsms::LinkStatus link = hsms::link_status();
    return std::string(link.state) + " " + std::to_string(link.port) + " " + link.peer;
}

std::string run_flush(Context& context, std::string_view) {
    const std::string problem = context.logs.flush();
    sim::flush_console();
    if (!problem.empty()) throw Refusal(problem);
    return "ok";
}

}  // namespace equipment
