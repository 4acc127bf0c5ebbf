#include "sim/controller/module_runner.h"

#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/faults.h"
#include "sim/controller/system_log.h"
#include "sim/tool/tool.h"

namespace sim {

bool ModuleRunner::start() {
    started_ = true;
    module_.Stop_Request = 0;
    guarded("QProgram_Init_Code", [this] { module_.QProgram_Init_Code(); });
    enter();
    main_running_ = true;
    main_ = std::thread([this] {
        guarded("QProgram_Main_Code", [this] { module_.QProgram_Main_Code(""); });
        main_running_ = false;
    });
    start_events([this](const std::string& text) { module_.QProgram_Event_Code(text.c_str()); });
    start_tool();
    return entered_;
}

void ModuleRunner::stop() {
    if (!started_) return;
    started_ = false;
    stop_tool();
    stop_events();
    module_.Stop_Request = 1;
    main_.join();
    guarded("QProgram_Exit_Code", [this] { module_.QProgram_Exit_Code(); });
}

void ModuleRunner::enter() {
    const auto fault = guarded("QProgram_Enter_Code", [this] { entered_ = module_.QProgram_Enter_Code(""); });
    if (fault) {
        enter_fault_ = *fault;
    } else if (!entered_) {
        enter_fault_ = "QProgram_Enter_Code returned false";
        print_console(Colour::red, "framework", enter_fault_);
        log_system(Talwen::LOG_ERROR, enter_fault_);
    }
}

}  // namespace sim
