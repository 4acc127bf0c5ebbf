#include "fa/handlers/control_state.h"

#include <cstddef>

#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/link_names.h"

namespace Talwen {

namespace {

struct Outcome {
    CTRL_MODE ctrl_mode;
    int online_status;
    int remote_status;  // -1: left as it is
    int control_state;
    bool (BC_FA::*report)();
};

constexpr Outcome outcomes[] = {
    {FA_Ctrl_OffLine, 0, -1, 0, &BC_FA::QFA_Report_Event_EQUIP_OFFLINE},
    {FA_Ctrl_OnLocal, 1, 0, 3, &BC_FA::QFA_Report_Event_ONLINE_LOCAL},
    {FA_Ctrl_OnRemote, 1, 1, 4, &BC_FA::QFA_Report_Event_ONLINE_REMOTE},
};

}  // namespace

void Enter_Control_State(BC_FA& fa, Control_State state, Online_Status online_status) {
    const Outcome& outcome = outcomes[static_cast<std::size_t>(state)];
    fa.QFA_Set_CtrlMD(outcome.ctrl_mode);
    if (online_status == Online_Status::written) fa.QIO_Set_GEM_Online_Status(outcome.online_status);
    if (outcome.remote_status >= 0) fa.QIO_Set_GEM_Remote_Status(outcome.remote_status);
    fa.QIO_Set_GEM_Control_State(outcome.control_state);
    (fa.*outcome.report)();
}

void Enter_Initial_Control_State(BC_FA& fa) {
    switch (fa.QIO_Get_GEM_Init_ControlState()) {
        case 0: Enter_Control_State(fa, Control_State::off_line); break;
        case 1: Enter_Control_State(fa, Control_State::local); break;
        case 2: Enter_Control_State(fa, Control_State::remote); break;
        default:
            Enter_Control_State(fa, Control_State::local);
            fa.QIO_Set_GEM_Init_ControlState(1);
            break;
    }
}

namespace {

void report_local(BC_FA& fa) {
    fa.QIO_Set_GEM_Remote_Status(0);
    fa.QFA_Report_Event_ONLINE_LOCAL();
}

void report_remote(BC_FA& fa) {
    fa.QIO_Set_GEM_Remote_Status(1);
    fa.QFA_Report_Event_ONLINE_REMOTE();
}

/// Only the host's own question tells that communication stands; the answer to ours does not touch LinkMD.
void confirm_communicating(BC_FA& fa, Are_You_There exchange) {
    if (exchange == Are_You_There::asked_by_host) fa.QFA_Set_LinkMD(FA_Link_Commu);
}

/// Online_Init 2: the remote switch stands and decides; a switch that is neither on nor off leaves CtrlMD
/// alone.
void follow_remote_switch(BC_FA& fa, Are_You_There exchange) {
    switch (fa.QIO_Get_GEM_Remote_Status()) {
        case 0:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnLocal);
            confirm_communicating(fa, exchange);
            fa.QFA_Report_Event_ONLINE_LOCAL();
            break;
        case 1:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnRemote);
            confirm_communicating(fa, exchange);
            fa.QFA_Report_Event_ONLINE_REMOTE();
            break;
        default: report_local(fa); break;
    }
}

void online_by_online_init(BC_FA& fa, Are_You_There exchange) {
    switch (fa.QIO_Get_GEM_Online_Init()) {
        case 0:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnLocal);
            report_local(fa);
            break;
        case 1:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnRemote);
            confirm_communicating(fa, exchange);
            report_remote(fa);
            break;
        case 2: follow_remote_switch(fa, exchange); break;
        default: break;
    }
}

void online_by_control_mode(BC_FA& fa) {
    switch (fa.QFA_Get_CtrlMD()) {
        case FA_Ctrl_OnLocal: report_local(fa); break;
        case FA_Ctrl_OnRemote: report_remote(fa); break;
        default:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnLocal);
            report_local(fa);
            break;
    }
}

}  // namespace

// Control_State is not written here: the are-you-there exchange moves the states, not the screen's control
// state.
void Enter_Online_Sub_State(BC_FA& fa, Are_You_There exchange) {
    if (Comm_New_Version)
        online_by_online_init(fa, exchange);
    else
        online_by_control_mode(fa);
}

}  // namespace Talwen
