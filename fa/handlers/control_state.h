// The control-state transitions of SEMI E30 as the module writes them: state, GEM points, report event.
#pragma once

namespace Talwen {

class BC_FA;

/// One row of the outcomes: CtrlMD, Online_Status, Remote_Status, Control_State and the report event.
enum class Control_State { off_line, local, remote };
enum class Online_Status { written, left };
void Enter_Control_State(BC_FA& fa, Control_State state,
                         Online_Status online_status = Online_Status::written);

/// The initial control state that Init_ControlState names; a value it does not know means local and is
/// corrected.
void Enter_Initial_Control_State(BC_FA& fa);

/// The on-line sub-state after an are-you-there exchange: the host's S1F1 was answered, or ours was.
enum class Are_You_There { asked_by_host, asked_by_equipment };
void Enter_Online_Sub_State(BC_FA& fa, Are_You_There exchange);

}  // namespace Talwen
