#include "fa/secs/communication_state.h"

#include <cstddef>
#include <iterator>

#include "fa/framework/qseqcon.h"
#include "fa/secs/module_state.h"

// K41: each transition writes its own part of one group of values, in its own order (docs/kept-behaviour.md).

namespace Talwen {

namespace {

constexpr int left = -1;  // not written

/// A control state as it is written: CtrlMD, its mirrors, the event.
struct Outcome {
    Control_State state;
    int online_status;
    int remote_status;
    int control_state;
    bool (QSeqCon::*report)();
};
constexpr Outcome Off_Line{Control_State::off_line, 0, left, 0, &QSeqCon::QFA_Report_Event_EQUIP_OFFLINE};
constexpr Outcome Host_Off_Line{Control_State::off_line, 0, left, 2, &QSeqCon::QFA_Report_Event_HOST_OFFLINE};
constexpr Outcome Local{Control_State::local, 1, 0, 3, &QSeqCon::QFA_Report_Event_ONLINE_LOCAL};
constexpr Outcome Remote{Control_State::remote, 1, 1, 4, &QSeqCon::QFA_Report_Event_ONLINE_REMOTE};

/// What of an outcome is written, in this order.
enum Part : unsigned {
    ctrl_mode = 1,
    communicating = 2,  // LinkMD
    established = 4,    // Comm_Establish
    online = 8,
    remote = 16,
    screen = 32,  // Control_State
    event = 64,
};

void set_link(QSeqCon& fa, Link_State state) {
    fa.QFA_Set_LinkMD(static_cast<int>(state));
}

void write(QSeqCon& fa, const Outcome& outcome, unsigned parts) {
    if ((parts & ctrl_mode) != 0) fa.QFA_Set_CtrlMD(static_cast<int>(outcome.state));
    if ((parts & communicating) != 0) set_link(fa, Link_State::communicating);
    if ((parts & established) != 0) fa.QIO_Set_GEM_Comm_Establish(1);
    if ((parts & online) != 0) fa.QIO_Set_GEM_Online_Status(outcome.online_status);
    if ((parts & remote) != 0 && outcome.remote_status != left)
        fa.QIO_Set_GEM_Remote_Status(outcome.remote_status);
    if ((parts & screen) != 0) fa.QIO_Set_GEM_Control_State(outcome.control_state);
    if ((parts & event) != 0) (fa.*outcome.report)();
}

/// Any other value means local.
const Outcome& outcome_of(int state) {
    if (state == 0) return Off_Line;
    return state == 2 ? Remote : Local;
}

void set_disconnected(QSeqCon& fa) {
    set_link(fa, Link_State::disconnected);
    fa.QIO_Set_GEM_Comm_Status(0);
    fa.QIO_Set_GEM_Comm_Status2(0);
}

/// What the host and the operator switch.
void set_enables(QSeqCon& fa, bool enable) {
    fa.QFA_Set_Enable(enable ? 1 : 0);
    fa.QIO_Set_GEM_Comm_Enable(enable ? 1 : 0);
}

template <std::size_t N>
const char* name(const char* const (&names)[N], int value, const char* unknown) {
    return value >= 0 && value < static_cast<int>(N) ? names[value] : unknown;
}

}  // namespace

Link_State Get_Link_State(QSeqCon& fa) {
    return static_cast<Link_State>(fa.QFA_Get_LinkMD());
}

Control_State Get_Control_State(QSeqCon& fa) {
    return static_cast<Control_State>(fa.QFA_Get_CtrlMD());
}

const char* Link_State_Name(QSeqCon& fa) {
    constexpr const char* names[] = {"FA_Link_Disconn", "FA_Link_Disabled", "FA_Link_Enabled",
                                     "FA_Link_Commu"};
    return name(names, fa.QFA_Get_LinkMD(), "FA_Link_Unknown");
}

const char* Control_State_Name(QSeqCon& fa) {
    constexpr const char* names[] = {"FA_Ctrl_OffLine", "FA_Ctrl_OnLocal", "FA_Ctrl_OnRemote"};
    return name(names, fa.QFA_Get_CtrlMD(), "FA_Ctrl_Unknown");
}

bool Communication_Enabled(QSeqCon& fa) {
    return (Comm_New_Version ? fa.QIO_Get_GEM_Comm_Enable() : fa.QFA_Get_Enable()) != 0;
}

bool Enabled_At_Start(QSeqCon& fa) {
    return Comm_New_Version ? fa.QIO_Get_GEM_Init_CommState() != 1 : fa.QFA_Get_Enable() != 0;
}

bool Link_Is_Up(QSeqCon& fa) {
    return (Comm_New_Version ? fa.QIO_Get_GEM_Comm_Status() : fa.QFA_Get_LinkMD()) != 0;
}

bool Host_Takes_Events(QSeqCon& fa) {
    if (Comm_New_Version) return fa.QIO_Get_GEM_Comm_Enable() != 0 && fa.QIO_Get_GEM_Online_Status() != 0;
    return Get_Link_State(fa) > Link_State::enabled && Get_Control_State(fa) != Control_State::off_line;
}

// The connection monitor.

void Mirror_Start_State(QSeqCon& fa, bool enabled) {
    if (Comm_New_Version)
        fa.QFA_Set_Enable(enabled ? 1 : 0);
    else
        fa.QIO_Set_GEM_Init_CommState(enabled ? 0 : 1);
}

// K3: a start state of 0 switches communication on again at every pass (docs/kept-behaviour.md).
void Apply_Start_State(QSeqCon& fa) {
    if (!Comm_New_Version) return;
    const int start_state = fa.QIO_Get_GEM_Init_CommState();
    if (start_state != 0 && start_state != 1) return;
    fa.QIO_Set_GEM_Comm_Enable(1 - start_state);
    fa.QFA_Set_Enable(1 - start_state);
}

void Communication_Found_Disabled(QSeqCon& fa) {
    if (Comm_New_Version)
        fa.QFA_Set_Enable(0);
    else
        fa.QIO_Set_GEM_Comm_Enable(0);
    set_link(fa, Link_State::disabled);
}

void Connection_Begins(QSeqCon& fa) {
    set_disconnected(fa);
}

// The driver's callbacks.

namespace {

/// What select and deselect have in common.
void take_over_link(QSeqCon& fa, int comm_status2) {
    fa.QIO_Set_GEM_Comm_Status(1);
    fa.QIO_Set_GEM_Comm_Status2(comm_status2);
    const bool enabled = Enabled_At_Start(fa);
    fa.QIO_Set_GEM_Comm_Enable(enabled ? 1 : 0);
    fa.QFA_Set_Enable(enabled ? 1 : 0);
    set_link(fa, enabled ? Link_State::enabled : Link_State::disabled);
}

void request_initial_control_state(QSeqCon& fa) {
    switch (Comm_New_Version ? fa.QIO_Get_GEM_Init_ControlState() : fa.QFA_Get_CtrlMD()) {
        case 0: fa.QFA_Request_Offline(); break;
        case 2: fa.QFA_Request_Remote(); break;
        default: fa.QFA_Request_Local(); break;
    }
}

}  // namespace

void Link_Selected(QSeqCon& fa) {
    take_over_link(fa, 2);
    request_initial_control_state(fa);
    fa.QIO_Set_GEM_Comm_Establish(0);
}

void Link_Deselected(QSeqCon& fa) {
    take_over_link(fa, 1);
    fa.QIO_Set_GEM_Comm_Establish(0);
}

void Link_Closed(QSeqCon& fa) {
    set_disconnected(fa);
    fa.QIO_Set_GEM_Comm_Establish(0);
}

// What the host sends.

Gate Receive_Gate(QSeqCon& fa) {
    if (!Communication_Enabled(fa)) {
        if (Comm_New_Version)
            fa.QFA_Set_Enable(0);
        else
            fa.QIO_Set_GEM_Comm_Enable(0);
        return Gate::disabled;
    }
    if (Comm_New_Version) {
        if (fa.QIO_Get_GEM_Online_Status() != 0) return Gate::pass;
        fa.QFA_Set_CtrlMD(0);
    } else {
        if (Get_Control_State(fa) != Control_State::off_line) return Gate::pass;
        fa.QIO_Set_GEM_Online_Status(0);
    }
    return Gate::off_line;
}

void Host_Aborts(QSeqCon& fa) {
    write(fa, Off_Line, ctrl_mode | online);
}

namespace {

/// Online_Init 2: Remote_Status decides; a switch that is neither on nor off leaves CtrlMD alone.
void follow_remote_switch(QSeqCon& fa, unsigned link) {
    switch (fa.QIO_Get_GEM_Remote_Status()) {
        case 0: return write(fa, Local, ctrl_mode | link | event);
        case 1: return write(fa, Remote, ctrl_mode | link | event);
        default: return write(fa, Local, remote | event);
    }
}

/// The sub-state after an are-you-there exchange. `link` is `communicating` for the host's own question; the
/// answer to ours does not touch LinkMD.
void enter_online_sub_state(QSeqCon& fa, unsigned link) {
    if (!Comm_New_Version) {
        const int state = fa.QFA_Get_CtrlMD();
        const bool on_line = state == 1 || state == 2;
        write(fa, state == 2 ? Remote : Local, (on_line ? 0U : ctrl_mode) | remote | event);
        return;
    }
    switch (fa.QIO_Get_GEM_Online_Init()) {
        case 0: return write(fa, Local, ctrl_mode | remote | event);
        case 1: return write(fa, Remote, ctrl_mode | link | remote | event);
        case 2: return follow_remote_switch(fa, link);
        default: return;
    }
}

}  // namespace

void Host_Asks_Are_You_There(QSeqCon& fa) {
    fa.QIO_Set_GEM_Online_Status(1);
    fa.QIO_Set_GEM_Comm_Establish(1);
    set_link(fa, Link_State::communicating);
    enter_online_sub_state(fa, communicating);
}

void Host_Answers_Are_You_There(QSeqCon& fa) {
    fa.QIO_Set_GEM_Online_Status(1);
    enter_online_sub_state(fa, 0);
}

// A refusal switches communication off on both sides, so that the next S1F13 is refused as well until the
// equipment enables communication again.
bool Host_Establishes_Communication(QSeqCon& fa) {
    const bool accept = fa.QIO_Get_GEM_Comm_Enable() == 1 && fa.QFA_Get_Enable() == 1;
    set_enables(fa, accept);
    set_link(fa, accept ? Link_State::communicating : Link_State::disabled);
    fa.QIO_Set_GEM_Comm_Establish(accept ? 1 : 0);
    return accept;
}

// Init_ControlState decides with either Comm_New_Version; a value out of range is corrected.
void Enter_Initial_Control_State(QSeqCon& fa) {
    const int state = fa.QIO_Get_GEM_Init_ControlState();
    write(fa, outcome_of(state), ctrl_mode | online | remote | screen | event);
    if (state < 0 || state > 2) fa.QIO_Set_GEM_Init_ControlState(1);
}

void Host_Accepts_Communication(QSeqCon& fa) {
    if (Comm_New_Version)
        Enter_Initial_Control_State(fa);
    else
        write(fa, outcome_of(fa.QFA_Get_CtrlMD()), ctrl_mode | online | remote | event);
    fa.QIO_Set_GEM_Comm_Establish(1);
    set_link(fa, Link_State::communicating);
}

void Host_Refuses_Communication(QSeqCon& fa) {
    set_link(fa, Link_State::enabled);
    fa.QIO_Set_GEM_Comm_Establish(0);
}

bool Host_Requests_Off_Line(QSeqCon& fa) {
    unsigned parts = screen;
    if (Comm_New_Version) {
        if (fa.QIO_Get_GEM_Online_Status() == 0 && fa.QIO_Get_GEM_Comm_Establish() == 1)
            parts |= ctrl_mode | communicating;
    } else if (Get_Control_State(fa) == Control_State::off_line &&
               Get_Link_State(fa) == Link_State::communicating) {
        parts |= established | online;
    }
    write(fa, Host_Off_Line, parts);
    return parts == screen;
}

void Go_Off_Line_For_Host(QSeqCon& fa) {
    write(fa, Host_Off_Line, ctrl_mode | communicating | established | online | screen | event);
}

bool Host_Requests_On_Line(QSeqCon& fa, int value) {
    if (value != 0 || fa.QIO_Get_GEM_Online_Status() != 1 || fa.QIO_Get_GEM_Comm_Establish() != 1)
        return true;
    // The states are corrected, without an event.
    const int remote_status = fa.QIO_Get_GEM_Remote_Status();
    if (remote_status == 0 || remote_status == 1)
        write(fa, remote_status == 0 ? Local : Remote, ctrl_mode | screen);
    set_link(fa, Link_State::communicating);
    return false;
}

// The same with either Comm_New_Version. The values 1 and 2 force a sub-state and leave Online_Status as it
// is; otherwise Online_Init decides, and Remote_Status where that says "follow".
void Go_On_Line_For_Host(QSeqCon& fa, int value) {
    bool to_remote = value == 2;
    if (value != 1 && value != 2) {
        fa.QIO_Set_GEM_Comm_Establish(1);
        fa.QIO_Set_GEM_Online_Status(1);
        set_link(fa, Link_State::communicating);
        const int online_init = fa.QIO_Get_GEM_Online_Init();
        to_remote = online_init == 1 || (online_init == 2 && fa.QIO_Get_GEM_Remote_Status() == 1);
    }
    write(fa, to_remote ? Remote : Local, ctrl_mode | remote | screen | event);
}

bool Switch_Control_State(QSeqCon& fa, Control_State state) {
    if (Get_Control_State(fa) == state) return false;
    write(fa, outcome_of(static_cast<int>(state)), ctrl_mode);
    return true;
}

// The operator.

// K36: with the newer settings this does not last without a link (docs/kept-behaviour.md).
void Switch_Communication(QSeqCon& fa, bool enable) {
    set_enables(fa, enable);
    const Link_State link = Get_Link_State(fa);
    // A link that is already marked disabled keeps its mark when communication is enabled: the main monitor's
    // next pass lifts it.
    if (enable && link != Link_State::disabled) set_link(fa, Link_State::enabled);
    if (!enable && link != Link_State::disconnected) set_link(fa, Link_State::disabled);
}

void Operator_Sets_Control_State(QSeqCon& fa, Control_State state) {
    write(fa, outcome_of(static_cast<int>(state)), ctrl_mode | screen);
}

}  // namespace Talwen
