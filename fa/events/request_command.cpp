#include "fa/events/event_command.h"
#include "fa/events/event_context.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/link_names.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

constexpr int equipment_off_line_event = 10101;

void queue_primary(unsigned char stream, unsigned char function) {
    QFA_Message_PushBack(stream, function, nullptr, nullptr, nullptr, nullptr, nullptr);
}

bool communication_enabled(BC_FA& fa) {
    return (Comm_New_Version ? fa.QIO_Get_GEM_Comm_Enable() : fa.QFA_Get_Enable()) != 0;
}

// With the newer settings the main monitor derives both switches from the start state again at every pass
// without a link, so what is switched here does not last there; deliberate.
void request_while_disabled(BC_FA& fa, const Event_Command& command) {
    const bool enable = command.is("ENABLE");
    if (!enable && !command.is("DISABLE")) {
        OnlineLog("忽略 FA消息处理 , FA Disabled.[%s]", command.text);
        return;
    }
    fa.QFA_Set_Enable(enable ? 1 : 0);
    fa.QIO_Set_GEM_Comm_Enable(enable ? 1 : 0);
    const int link = fa.QFA_Get_LinkMD();
    // A link that is already marked disabled keeps its mark when communication is enabled: the main monitor's
    // next pass lifts it.
    if (enable && link != FA_Link_Disabled) fa.QFA_Set_LinkMD(FA_Link_Enabled);
    if (!enable && link != FA_Link_Disconn) fa.QFA_Set_LinkMD(FA_Link_Disabled);
}

// ENABLE and DISABLE mean nothing here on purpose: the controller disables through the GEM enable point.
void request_while_enabled(BC_FA& fa, const Event_Command& command) {
    if (command.is("RECONNECT")) {
        if (!fa.FILE_SAVE_SYSTEM_SETUP()) OnlineLog("FA_SAVE.inf 保存失败!");
        Reconnect = true;
    } else if (command.is("OFFLINE")) {
        fa.QFA_Set_CtrlMD(FA_Ctrl_OffLine);
        fa.QIO_Set_GEM_Control_State(0);
        if (fa.QFA_Get_LinkMD() >= FA_Link_Enabled)
            Raise_Event(fa, Event_Family::control_state, equipment_off_line_event, 1, {});
    } else if (command.is("LOCAL")) {
        fa.QFA_Set_CtrlMD(FA_Ctrl_OnLocal);
        fa.QIO_Set_GEM_Control_State(3);
        queue_primary(1, 13);
    } else if (command.is("REMOTE")) {
        fa.QFA_Set_CtrlMD(FA_Ctrl_OnRemote);
        fa.QIO_Set_GEM_Control_State(4);
        queue_primary(1, 13);
        queue_primary(2, 17);
    }
}

}  // namespace

void Run_Request_Command(BC_FA& fa, const Event_Command& command) {
    if (communication_enabled(fa))
        request_while_enabled(fa, command);
    else
        request_while_disabled(fa, command);
}

}  // namespace Talwen
