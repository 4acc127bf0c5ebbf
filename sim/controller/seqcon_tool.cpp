// QSeqCon: control requests, scheduler, modules, functions, alarms, log and screen.
#include <cstdarg>
#include <cstring>
#include <utility>

#include "fa/framework/qseqcon.h"
#include "sim/controller/calls.h"
#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/system_log.h"
#include "sim/machine/state.h"
#include "sim/text.h"
#include "sim/tool/tables.h"
#include "sim/tool/tool.h"

namespace Talwen {

using sim::count;
using sim::Operation;
using sim::record;
using sim::state;

namespace {

/// A request is answered by an event of the framework's own, on the event thread.
bool request(Operation& op, const char* answer) {
    if (record(op, {}) == 0) return false;
    if (state().tool.react) sim::post_event(answer);
    return true;
}

template <class List>
auto module_at(List& list, int index) -> decltype(&list[0]) {
    return index >= 0 && static_cast<std::size_t>(index) < list.size()
               ? &list[static_cast<std::size_t>(index)]
               : nullptr;
}

struct ModuleNames {
    const char* name;
    const char* id;
};

/// A module by its name or id; only a process module's id is another than its name.
ModuleNames find_module(const char* module) {
    const std::string_view wanted = sim::view(module);
    for (const auto& m : state().process_modules) {
        if (m.name == wanted || m.id == wanted) return {m.name.c_str(), m.id.c_str()};
    }
    for (const auto& m : state().carrier_modules) {
        if (m.name == wanted) return {m.name.c_str(), m.name.c_str()};
    }
    for (const char* name : sim::other_modules) {
        if (name == wanted) return {name, name};
    }
    return {"", ""};
}

std::atomic<FUNC_STATUS>* function_status(int function) {
    auto* point = module_at(state().points.function, function);
    return point == nullptr ? nullptr : &point->status;
}

}  // namespace

SIM_BOOLEAN(QFA_Request_Offline)
bool QSeqCon::QFA_Request_Offline() {
    return request(Op::QFA_Request_Offline, "REQUEST_OFFLINE");
}
SIM_BOOLEAN(QFA_Request_Local)
bool QSeqCon::QFA_Request_Local() {
    return request(Op::QFA_Request_Local, "REQUEST_LOCAL");
}
SIM_BOOLEAN(QFA_Request_Remote)
bool QSeqCon::QFA_Request_Remote() {
    return request(Op::QFA_Request_Remote, "REQUEST_REMOTE");
}

SIM_BOOLEAN(QFA_Report_Event_EQUIP_OFFLINE)
bool QSeqCon::QFA_Report_Event_EQUIP_OFFLINE() {
    return request(Op::QFA_Report_Event_EQUIP_OFFLINE, "CTRLMODE_STATE 1");
}
SIM_BOOLEAN(QFA_Report_Event_HOST_OFFLINE)
bool QSeqCon::QFA_Report_Event_HOST_OFFLINE() {
    return request(Op::QFA_Report_Event_HOST_OFFLINE, "CTRLMODE_STATE 2");
}
SIM_BOOLEAN(QFA_Report_Event_ONLINE_LOCAL)
bool QSeqCon::QFA_Report_Event_ONLINE_LOCAL() {
    return request(Op::QFA_Report_Event_ONLINE_LOCAL, "CTRLMODE_STATE 3");
}
SIM_BOOLEAN(QFA_Report_Event_ONLINE_REMOTE)
bool QSeqCon::QFA_Report_Event_ONLINE_REMOTE() {
    return request(Op::QFA_Report_Event_ONLINE_REMOTE, "CTRLMODE_STATE 4");
}

SIM_READ(QSCH_Get_CM_Count)
int QSeqCon::QSCH_Get_CM_Count() {
    count(Op::QSCH_Get_CM_Count);
    return static_cast<int>(state().carrier_modules.size());
}

SIM_READ(QSCH_Get_CM_Slot_Count)
int QSeqCon::QSCH_Get_CM_Slot_Count(int cm) {
    count(Op::QSCH_Get_CM_Slot_Count);
    const auto* module = module_at(state().carrier_modules, cm);
    return module == nullptr ? 0 : module->slots;
}

SIM_READ(QSCH_Get_PM_Count)
int QSeqCon::QSCH_Get_PM_Count() {
    count(Op::QSCH_Get_PM_Count);
    return static_cast<int>(state().process_modules.size());
}

SIM_READ(QSCH_Get_PM_Module_Name)
const char* QSeqCon::QSCH_Get_PM_Module_Name(int pm) {
    count(Op::QSCH_Get_PM_Module_Name);
    const auto* module = module_at(state().process_modules, pm);
    return module == nullptr ? "" : module->name.c_str();
}

SIM_READ(QSCH_Get_PM_Module_ID)
const char* QSeqCon::QSCH_Get_PM_Module_ID(int pm) {
    count(Op::QSCH_Get_PM_Module_ID);
    const auto* module = module_at(state().process_modules, pm);
    return module == nullptr ? "" : module->id.c_str();
}

SIM_READ(QSCH_Get_PM_Enable)
bool QSeqCon::QSCH_Get_PM_Enable(int pm) {
    count(Op::QSCH_Get_PM_Enable);
    return module_at(state().process_modules, pm) != nullptr;
}

SIM_STATUS(QSCH_RUN_F_SCHEDULER)
FUNC_STATUS QSeqCon::QSCH_RUN_F_SCHEDULER(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = sim::vformat(format, arguments);
    va_end(arguments);
    const int result = record(Op::QSCH_RUN_F_SCHEDULER, text);
    if (result != FUNC_FINISHED) return static_cast<FUNC_STATUS>(result);
    const int of_tool = sim::ask_tool(text).value_or(result);
    return static_cast<FUNC_STATUS>(sim::result_is_set(Op::QSCH_RUN_F_SCHEDULER) ? result : of_tool);
}

SIM_BOOLEAN(QSCH_EVENT_F_MAIN_MONITOR)
bool QSeqCon::QSCH_EVENT_F_MAIN_MONITOR(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = sim::vformat(format, arguments);
    va_end(arguments);
    if (record(Op::QSCH_EVENT_F_MAIN_MONITOR, text) == 0) return false;
    sim::tell_main_monitor(text);
    return true;
}

SIM_READ(QModule_Get_Name)
const char* QSeqCon::QModule_Get_Name(const char* module) {
    count(Op::QModule_Get_Name);
    return find_module(module).name;
}

SIM_READ(QModule_Get_ID)
const char* QSeqCon::QModule_Get_ID(const char* module) {
    count(Op::QModule_Get_ID);
    return find_module(module).id;
}

SIM_READ(QModule_Get_PM_Side)
int QSeqCon::QModule_Get_PM_Side(char*) {
    count(Op::QModule_Get_PM_Side);
    return 0;
}

SIM_READ(QSystem_Get_User_Name)
const char* QSeqCon::QSystem_Get_User_Name() {
    count(Op::QSystem_Get_User_Name);
    return "operator";
}

SIM_READ(QSystem_Get_Group_Name)
const char* QSeqCon::QSystem_Get_Group_Name() {
    count(Op::QSystem_Get_Group_Name);
    return "operators";
}

SIM_READ(QSystem_Get_PM_Count)
int QSeqCon::QSystem_Get_PM_Count() {
    count(Op::QSystem_Get_PM_Count);
    return static_cast<int>(state().process_modules.size());
}

SIM_READ(QSystem_Get_Alarm_Count)
int QSeqCon::QSystem_Get_Alarm_Count() {
    count(Op::QSystem_Get_Alarm_Count);
    return state().alarms.count();
}

SIM_READ(QSystem_Get_Simulation)
bool QSeqCon::QSystem_Get_Simulation() {
    count(Op::QSystem_Get_Simulation);
    return state().tool.simulation;
}

SIM_STATUS(QFunction_Run)
FUNC_STATUS QSeqCon::QFunction_Run(int function, const char* argument) {
    const int result =
        record(Op::QFunction_Run, sim::to_text(function) + " " + std::string(sim::view(argument)));
    auto* status = function_status(function);
    if (status == nullptr) return FUNC_FAILED;
    status->store(static_cast<FUNC_STATUS>(result));
    return static_cast<FUNC_STATUS>(result);
}

SIM_READ(QFunction_Get_Run_Status)
FUNC_STATUS QSeqCon::QFunction_Get_Run_Status(int function) {
    count(Op::QFunction_Get_Run_Status);
    const auto* status = function_status(function);
    return status == nullptr ? FUNC_IDLE : status->load();
}

SIM_ACTION(QFunction_Set_Regist_Info)
void QSeqCon::QFunction_Set_Regist_Info(const char* version) {
    record(Op::QFunction_Set_Regist_Info, std::string(sim::view(version)));
}

SIM_READ(QAlarm_Get_ID)
int QSeqCon::QAlarm_Get_ID(int index) {
    count(Op::QAlarm_Get_ID);
    const auto* alarm = state().alarms.at(index);
    return alarm == nullptr ? 0 : alarm->id;
}

SIM_READ(QAlarm_Get_Level)
ALARM_LEVEL QSeqCon::QAlarm_Get_Level(int index) {
    count(Op::QAlarm_Get_Level);
    const auto* alarm = state().alarms.at(index);
    return alarm == nullptr ? ALARM_NONE : alarm->level;
}

SIM_READ(QAlarm_Get_Post_Time)
const char* QSeqCon::QAlarm_Get_Post_Time(int index) {
    count(Op::QAlarm_Get_Post_Time);
    return sim::ring_text(state().alarms.post_time(index));
}

SIM_READ(QAlarm_Get_Text_Full)
bool QSeqCon::QAlarm_Get_Text_Full(int index, char* text) {
    count(Op::QAlarm_Get_Text_Full);
    const auto* alarm = state().alarms.at(index);
    if (alarm == nullptr || text == nullptr) return false;
    sim::copy_cut(text, alarm->text, 512);
    return true;
}

SIM_READ(QAlarm_Queue_Count)
int QSeqCon::QAlarm_Queue_Count() {
    count(Op::QAlarm_Queue_Count);
    return state().alarms.queue_count();
}

SIM_READ(QAlarm_Queue_Point)
bool QSeqCon::QAlarm_Queue_Point(int index, int* a, int* b) {
    count(Op::QAlarm_Queue_Point);
    const auto entry = state().alarms.queue_entry(index);
    if (!entry) return false;
    *a = entry->index;
    *b = entry->number;
    return true;
}

SIM_READ(QSystem_Log)
void QSeqCon::QSystem_Log(LOG_TYPE type, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = sim::vformat(format, arguments);
    va_end(arguments);
    sim::note(Op::QSystem_Log, text);
    sim::log_system(type, text);
}

SIM_BOOLEAN(QGui_Display_Message)
bool QSeqCon::QGui_Display_Message(const char* text) {
    if (record(Op::QGui_Display_Message, std::string(sim::view(text))) == 0) return false;
    sim::print_console(sim::Colour::plain, "operator", std::string(sim::view(text)));
    return true;
}

}  // namespace Talwen
