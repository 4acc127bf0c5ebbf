// What host commands do on the controller.
#include "fa/handlers/handler_support.h"
#include "fa/handlers/s02_command_steps.h"
#include "fa/module/point_table.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace remote_command {

namespace {

/// Starts the scheduler routine of the port: "WORDn(F)" and what follows it.
/// K27: SCHEDULRE stays in the log texts (docs/kept-behaviour.md).
bool schedule(Run& run, const std::string& arguments) {
    const std::string text = run.word + std::to_string(run.port()) + "(F)" + arguments;
    const int result = run.fa.QSCH_RUN_F_SCHEDULER("%s", text.c_str());
    switch (result) {
        case 3: run.hcack = started; return true;
        case 101: return run.refuse_value(CP_PORTID);
        case 102:
            OnlineLog("%s:全自动运行中, 指令拒绝执行. [代码行:%s:%d]", run.rcmd(),
                      FA_CODE_LINE("reply_S02F41"));
            break;
        case 103:
            OnlineLog("%s:调度接口例程( SCHEDULRE_INTERFACE_CM%d)忙, 指令拒绝执行. [代码行:%s:%d]",
                      run.rcmd(), run.port(), FA_CODE_LINE("reply_S02F41"));
            break;
        case 104:
            OnlineLog("%s:调度维护例程( SCHEDULRE_MAINT_CM%d)忙, 指令拒绝执行. [代码行:%s:%d]", run.rcmd(),
                      run.port(), FA_CODE_LINE("reply_S02F41"));
            break;
        case 105:
            OnlineLog("远程指令<%s> 传送系统已经处于运行中, 指令拒绝执行! [代码行:%s:%d]", run.rcmd(),
                      FA_CODE_LINE("reply_S02F41"));
            return run.refuse_told(CP_RECIPE);
        default:
            OnlineLog("远程指令<%s> SCHEDULER 运行参数[%s] 运行失败, 指令拒绝执行! [代码行:%s:%d]",
                      run.rcmd(), text.c_str(), FA_CODE_LINE("reply_S02F41"));
            break;
    }
    return run.refuse(cannot_now);
}

void write_point(Run& run, int point, const std::string& text) {
    if (point != Point_Unbound) run.fa.QString_Write_Mem(point, text.c_str());
}

}  // namespace

bool run_scheduler(Run& run) {
    return schedule(run, "");
}

bool change_access_mode(Run& run) {
    return schedule(run, " " + std::to_string(run.number(CP_AccessMode)));
}

bool proceed_with_carrier_id(Run& run) {
    if (!schedule(run, "")) return false;
    write_point(run, run.fa.Point_S_CM_CID(run.cm()), run.text(CP_CarrierID));
    return true;
}

bool proceed_with_slot_map(Run& run) {
    if (!schedule(run, "")) return false;
    const std::string* first_lot = nullptr;
    for (int slot = 0; slot < static_cast<int>(run.request.slot_map.size()); ++slot) {
        if (!run.request.slot_map[static_cast<std::size_t>(slot)]) continue;
        const Lot_Entry& ids = run.request.lot_info[static_cast<std::size_t>(slot)];
        run.fa.QIO_Set_CTC_CMx_LOT_ID(run.cm(), slot, ids.lot.c_str());
        run.fa.QIO_Set_CTC_CMx_WAFER_ID(run.cm(), slot, ids.wafer.c_str());
        if (first_lot == nullptr) first_lot = &ids.lot;
    }
    if (first_lot != nullptr) write_point(run, run.fa.Point_S_CM_LOTID(run.cm()), *first_lot);
    return true;
}

bool start_process(Run& run) {
    const std::string arguments = std::string(" ") + run.text(CP_JOBID) + "," + run.text(CP_RECIPE) + "," +
                                  std::to_string(run.number(CP_StartSlot)) + "," +
                                  std::to_string(run.number(CP_EndSlot));
    if (!schedule(run, arguments)) return false;
    write_point(run, run.fa.Point_S_CM_PPID(run.cm()), run.text(CP_RECIPE));
    return true;
}

bool select_recipe(Run& run) {
    for (int cm = 0; cm < run.fa.QSCH_Get_CM_Count(); ++cm)
        write_point(run, run.fa.Point_S_CM_PPID(cm), run.text(CP_RECIPE));
    return true;
}

// The main monitor's event has two blanks after SIGNALTOWER.

/// The states are kept as commanded, also when the main monitor does not take them.
bool switch_tower(Run& run) {
    const std::array<int, 4> lamps{run.number(CP_REDSTATE), run.number(CP_GREENSTATE),
                                   run.number(CP_YELLOWSTATE), run.number(CP_BLUESTATE)};
    for (std::size_t i = 0; i < lamps.size(); ++i) Signal_Tower_State[i] = lamps[i];
    const std::string text = "$FA SIGNALTOWER  RED:" + std::to_string(lamps[0]) +
                             "|GREEN:" + std::to_string(lamps[1]) + "|YELLOW:" + std::to_string(lamps[2]) +
                             "|BLUE:" + std::to_string(lamps[3]);
    if (run.fa.QSCH_EVENT_F_MAIN_MONITOR("%s", text.c_str())) return true;
    OnlineLog("远程指令<%s> MAIN_MONITOR EVENT[%s] 发送失败, 指令拒绝执行! [代码行:%s:%d]", run.rcmd(),
              text.c_str(), FA_CODE_LINE("reply_S02F41"));
    return run.refuse(cannot_now);
}

bool switch_buzzer(Run& run) {
    Alarm_Buzzer_State = run.number(CP_ALARMBUZZER);
    const std::string text = "$FA SIGNALTOWER  BUZZER:" + std::to_string(run.number(CP_ALARMBUZZER));
    if (run.fa.QSCH_EVENT_F_MAIN_MONITOR("%s", text.c_str())) return true;
    OnlineLog("远程指令<%s> MAIN_MONITOR EVENT[%s] 发送失败. [代码行:%s:%d]", run.rcmd(), text.c_str(),
              FA_CODE_LINE("reply_S02F41"));
    return run.refuse(cannot_now);
}

}  // namespace remote_command

}  // namespace Talwen
