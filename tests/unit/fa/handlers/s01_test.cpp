// Stream 1 by direct call: every row of the control-state tables, in both settings of Comm_New_Version.
#include <gtest/gtest.h>

#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

class S01 : public fake::ModuleFixture {};

struct States {
    int link, ctrl, establish, online, remote, control;
    std::string event;  // the one report request of the exchange, "" for none
};

void PrintTo(const States& s, std::ostream* out) {
    *out << "LinkMD " << s.link << " CtrlMD " << s.ctrl << " Comm_Establish " << s.establish
         << " Online_Status " << s.online << " Remote_Status " << s.remote << " Control_State " << s.control
         << " event " << s.event;
}

bool operator==(const States& a, const States& b) {
    return a.link == b.link && a.ctrl == b.ctrl && a.establish == b.establish && a.online == b.online &&
           a.remote == b.remote && a.control == b.control && a.event == b.event;
}

/// Values that no handler writes, so that "left as it stands" shows.
constexpr int untouched = 77;

struct Row {
    const char* message;
    bool new_version;
    // start: GEM points and FA states that differ from `untouched`; "name=value" separated by blanks, FA
    // states marked fa:
    const char* start;
    const char* reply;
    States after;
};

constexpr const char* local = "ONLINE_LOCAL";
constexpr const char* remote = "ONLINE_REMOTE";
constexpr const char* equip_off = "EQUIP_OFFLINE";
constexpr const char* host_off = "HOST_OFFLINE";
constexpr const char* onlack0 = "S1F18 <B 0x00>.";
constexpr const char* onlack2 = "S1F18 <B 0x02>.";
constexpr const char* oflack0 = "S1F16 <B 0x00>.";
constexpr const char* oflack2 = "S1F16 <B 0x02>.";
constexpr const char* who = "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.";
constexpr const char* welcome = "S1F14 <L <B 0x00> <L <A \"CT-200\"> <A \"1.0.0\">>>.";
constexpr const char* denied = "S1F14 <L <B 0x01> <L <A \"CT-200\"> <A \"1.0.0\">>>.";
constexpr int U = untouched;

const Row rows[] = {
    // S1F1: the on-line sub-state; Control_State is never written.
    {"S1F1 W.", true, "Online_Init=0", who, {3, 1, 1, 1, 0, U, local}},
    {"S1F1 W.", true, "Online_Init=1", who, {3, 2, 1, 1, 1, U, remote}},
    {"S1F1 W.", true, "Online_Init=2 Remote_Status=0", who, {3, 1, 1, 1, 0, U, local}},
    {"S1F1 W.", true, "Online_Init=2 Remote_Status=1", who, {3, 2, 1, 1, 1, U, remote}},
    {"S1F1 W.", true, "Online_Init=2 Remote_Status=5", who, {3, U, 1, 1, 0, U, local}},
    {"S1F1 W.", true, "Online_Init=9", who, {3, U, 1, 1, U, U, ""}},
    {"S1F1 W.", false, "fa:CtrlMD=1", who, {3, 1, 1, 1, 0, U, local}},
    {"S1F1 W.", false, "fa:CtrlMD=2", who, {3, 2, 1, 1, 1, U, remote}},
    {"S1F1 W.", false, "fa:CtrlMD=0", who, {3, 1, 1, 1, 0, U, local}},
    // S1F2: the same without Comm_Establish and LinkMD.
    {"S1F2 <L>.", true, "Online_Init=1", "", {U, 2, U, 1, 1, U, remote}},
    {"S1F2.", true, "Online_Init=2 Remote_Status=0", "", {U, 1, U, 1, 0, U, local}},
    {"S1F2.", false, "fa:CtrlMD=0", "", {U, 1, U, 1, 0, U, local}},
    // S1F13: both switches must be on; Init_ControlState decides in both settings.
    {"S1F13 W <L>.", true, "Init_ControlState=0", welcome, {3, 0, 1, 0, U, 0, equip_off}},
    {"S1F13 W <L>.", true, "Init_ControlState=1", welcome, {3, 1, 1, 1, 0, 3, local}},
    {"S1F13 W <L>.", false, "Init_ControlState=2", welcome, {3, 2, 1, 1, 1, 4, remote}},
    {"S1F13 W <L>.", false, "Init_ControlState=9", welcome, {3, 1, 1, 1, 0, 3, local}},
    {"S1F13 W <L>.", false, "Comm_Enable=0", denied, {1, U, 0, U, U, U, ""}},
    {"S1F13 W <L>.", true, "Comm_Enable=2", denied, {1, U, 0, U, U, U, ""}},
    {"S1F13 W <L>.", true, "fa:Enable=0", denied, {1, U, 0, U, U, U, ""}},
    // S1F14 from the host.
    {"S1F14 <L <B 0> <L>>.", true, "Init_ControlState=0", "", {3, 0, 1, 0, U, 0, equip_off}},
    {"S1F14 <L <B 0> <L>>.", true, "Init_ControlState=2", "", {3, 2, 1, 1, 1, 4, remote}},
    {"S1F14 <L <B 0> <L>>.", true, "Init_ControlState=4", "", {3, 1, 1, 1, 0, 3, local}},
    {"S1F14 <L <B 0> <L>>.", false, "fa:CtrlMD=0", "", {3, 0, 1, 0, U, U, equip_off}},
    {"S1F14 <L <B 0> <L>>.", false, "fa:CtrlMD=2", "", {3, 2, 1, 1, 1, U, remote}},
    {"S1F14 <L <B 0> <L>>.", false, "fa:CtrlMD=7", "", {3, 1, 1, 1, 0, U, local}},
    {"S1F14 <L <B 1> <L>>.", true, "", "", {2, U, 0, U, U, U, ""}},
    // S1F15: the refusal writes states but raises no event.
    {"S1F15 W.", true, "Online_Status=1", oflack0, {3, 0, 1, 0, U, 2, host_off}},
    {"S1F15 W.", true, "Online_Status=0 Comm_Establish=1", oflack2, {3, 0, 1, 0, U, 2, ""}},
    {"S1F15 W.", true, "Online_Status=0 Comm_Establish=0", oflack0, {3, 0, 1, 0, U, 2, host_off}},
    {"S1F15 W.", false, "fa:CtrlMD=1", oflack0, {3, 0, 1, 0, U, 2, host_off}},
    {"S1F15 W.", false, "fa:CtrlMD=0 fa:LinkMD=3", oflack2, {3, 0, 1, 0, U, 2, ""}},
    {"S1F15 W.", false, "fa:CtrlMD=0 fa:LinkMD=2", oflack0, {3, 0, 1, 0, U, 2, host_off}},
    // S1F17: values 1 and 2 force a sub-state and leave Online_Status; Comm_New_Version does not matter.
    {"S1F17 W <U1 1>.", true, "", onlack0, {U, 1, U, U, 0, 3, local}},
    {"S1F17 W <U1 2>.", false, "", onlack0, {U, 2, U, U, 1, 4, remote}},
    {"S1F17 W <B 2>.", true, "", onlack0, {U, 2, U, U, 1, 4, remote}},
    {"S1F17 W <U8 4294967297>.", true, "", onlack0, {U, 1, U, U, 0, 3, local}},
    {"S1F17 W <I1 -1>.", true, "Online_Init=1", onlack0, {3, 2, 1, 1, 1, 4, remote}},
    {"S1F17 W.", true, "Online_Status=0 Online_Init=0", onlack0, {3, 1, 1, 1, 0, 3, local}},
    {"S1F17 W <U1 0>.",
     false,
     "Online_Status=0 Online_Init=2 Remote_Status=1",
     onlack0,
     {3, 2, 1, 1, 1, 4, remote}},
    {"S1F17 W <A \"2\">.",
     true,
     "Online_Status=0 Online_Init=2 Remote_Status=5",
     onlack0,
     {3, 1, 1, 1, 0, 3, local}},
    {"S1F17 W <L>.", true, "Online_Status=0 Online_Init=6", onlack0, {3, 1, 1, 1, 0, 3, local}},
    {"S1F17 W.", true, "Online_Status=1 Comm_Establish=1 Remote_Status=0", onlack2, {3, 1, 1, 1, 0, 3, ""}},
    {"S1F17 W.", false, "Online_Status=1 Comm_Establish=1 Remote_Status=1", onlack2, {3, 2, 1, 1, 1, 4, ""}},
    {"S1F17 W.", false, "Online_Status=1 Comm_Establish=1 Remote_Status=8", onlack2, {3, U, 1, 1, 8, U, ""}},
    {"S1F17 W.", true, "Online_Status=1 Comm_Establish=0 Online_Init=1", onlack0, {3, 2, 1, 1, 1, 4, remote}},
};

TEST_F(S01, EveryRowOfTheControlStateTables) {
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.message) + " " + row.start);
        start_over();
        Comm_New_Version = row.new_version;
        for (const char* point : {"Comm_Establish", "Online_Status", "Remote_Status", "Control_State"})
            sim::machine().set_gem(point, untouched);
        sim::machine().set_fa("LinkMD", untouched);
        sim::machine().set_fa("CtrlMD", untouched);
        sim::machine().set_gem("Comm_Enable", 1);
        sim::machine().set_fa("Enable", 1);
        set_states(row.start);
        sml_call(row.message);
        EXPECT_EQ(fake::driver().replies(), row.reply);
        const States got{fa("LinkMD"),         fa("CtrlMD"),         gem("Comm_Establish"),
                         gem("Online_Status"), gem("Remote_Status"), gem("Control_State"),
                         report_events()};
        EXPECT_EQ(got, row.after);
    }
}

}  // namespace
