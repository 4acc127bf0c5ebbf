#include "fa/events/event_command.h"
#include "fa/events/event_context.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/module_state.h"
#include "fa/secs/primaries.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

constexpr int equipment_off_line_event = 10101;

void request_while_disabled(BC_FA& fa, const Event_Command& command) {
    const bool enable = command.is("ENABLE");
    if (enable || command.is("DISABLE"))
        Switch_Communication(fa, enable);
    else
        OnlineLog("忽略 FA消息处理 , FA Disabled.[%s]", command.text);
}

// K37: ENABLE and DISABLE do nothing here (docs/kept-behaviour.md).
void request_while_enabled(BC_FA& fa, const Event_Command& command) {
    if (command.is("RECONNECT")) {
        if (!fa.FILE_SAVE_SYSTEM_SETUP()) OnlineLog("FA_SAVE.inf 保存失败!");
        Reconnect = true;
    } else if (command.is("OFFLINE")) {
        Operator_Sets_Control_State(fa, Control_State::off_line);
        if (Get_Link_State(fa) >= Link_State::enabled)
            Raise_Event(fa, Event_Family::control_state, equipment_off_line_event, 1, {});
    } else if (command.is("LOCAL")) {
        Operator_Sets_Control_State(fa, Control_State::local);
        Queue_Primary(1, 13);
    } else if (command.is("REMOTE")) {
        Operator_Sets_Control_State(fa, Control_State::remote);
        Queue_Primary(1, 13);
        Queue_Primary(2, 17);
    }
}

}  // namespace

void Run_Request_Command(BC_FA& fa, const Event_Command& command) {
    if (Communication_Enabled(fa))
        request_while_enabled(fa, command);
    else
        request_while_disabled(fa, command);
}

}  // namespace Talwen
