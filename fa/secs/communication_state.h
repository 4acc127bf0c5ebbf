// Communication and control state (SEMI E30): the one place where LinkMD, CtrlMD and the points that mirror
// them change while the module runs. Their start values come from the settings file
// (fa/config/settings_file.cpp).
//
//   LinkMD       0 not connected, 1 disabled, 2 enabled, 3 communicating
//                mirrors: Comm_Enable and the controller's Enable, Comm_Status, Comm_Status2, Comm_Establish
//   CtrlMD       0 off-line, 1 on-line local, 2 on-line remote
//                mirrors: Online_Status, Remote_Status, Control_State
//   start state  Init_CommState, Init_ControlState, which the settings file gives
//   (fa/config/settings_file.cpp)
//
// The controller keeps them all, each access atomic by itself; the module has no copy. With the newer
// settings (Comm_New_Version) the GEM points decide and LinkMD, CtrlMD and Enable follow, with the older ones
// the other way round; callers of these functions need not know which. Any thread.
#pragma once

namespace Talwen {

class QSeqCon;

/// LinkMD. The controller may hold other values.
enum class Link_State : int { disconnected = 0, disabled = 1, enabled = 2, communicating = 3 };
/// CtrlMD. The controller may hold other values.
enum class Control_State : int { off_line = 0, local = 1, remote = 2 };

// Questions.

Link_State Get_Link_State(QSeqCon& fa);
Control_State Get_Control_State(QSeqCon& fa);
/// The names under which the states are logged: "FA_Link_Commu", "FA_Ctrl_OnRemote", "FA_..._Unknown".
const char* Link_State_Name(QSeqCon& fa);
const char* Control_State_Name(QSeqCon& fa);
/// Communication is switched on now.
bool Communication_Enabled(QSeqCon& fa);
/// Communication is switched on at the start and whenever a link comes up.
bool Enabled_At_Start(QSeqCon& fa);
/// There is a connection, selected or not.
bool Link_Is_Up(QSeqCon& fa);
/// Events are raised for the host: communicating and on-line; with the newer settings switched on and
/// on-line, connected or not.
bool Host_Takes_Events(QSeqCon& fa);

// The connection monitor.

/// The side that follows takes over whether communication is enabled at the start.
void Mirror_Start_State(QSeqCon& fa, bool enabled);
/// The start state sets the enable switches again, with the newer settings.
void Apply_Start_State(QSeqCon& fa);
/// Communication was found switched off: the side that follows takes it over.
void Communication_Found_Disabled(QSeqCon& fa);
/// A new connection is about to be tried.
void Connection_Begins(QSeqCon& fa);

// The driver's callbacks.

/// Asks the controller for the initial control state as well.
void Link_Selected(QSeqCon& fa);
void Link_Deselected(QSeqCon& fa);
void Link_Closed(QSeqCon& fa);

// What the host sends.

/// Whether a received message may pass; the side that follows takes over what is found switched off.
enum class Gate { pass, off_line, disabled };
Gate Receive_Gate(QSeqCon& fa);
/// S1F0.
void Host_Aborts(QSeqCon& fa);
/// S1F1, and S1F2 to our own S1F1.
void Host_Asks_Are_You_There(QSeqCon& fa);
void Host_Answers_Are_You_There(QSeqCon& fa);
/// S1F13: true when communication is accepted. Then, after the answer, Enter_Initial_Control_State.
bool Host_Establishes_Communication(QSeqCon& fa);
void Enter_Initial_Control_State(QSeqCon& fa);
/// S1F14 to our own S1F13.
void Host_Accepts_Communication(QSeqCon& fa);
void Host_Refuses_Communication(QSeqCon& fa);
/// S1F15: false when the equipment is off-line already. After the answer to a true one, Go_Off_Line_For_Host.
bool Host_Requests_Off_Line(QSeqCon& fa);
void Go_Off_Line_For_Host(QSeqCon& fa);
/// S1F17 with its value, 0 without one: false when the equipment is on-line already. After the answer to a
/// true one, Go_On_Line_For_Host.
bool Host_Requests_On_Line(QSeqCon& fa, int value);
void Go_On_Line_For_Host(QSeqCon& fa, int value);
/// S2F41 "Local" and "Remote": CtrlMD alone, without points and event. False when it is so already.
bool Switch_Control_State(QSeqCon& fa, Control_State state);

// The operator, by event commands.

void Switch_Communication(QSeqCon& fa, bool enable);
/// CtrlMD and Control_State; no event.
void Operator_Sets_Control_State(QSeqCon& fa, Control_State state);

}  // namespace Talwen
