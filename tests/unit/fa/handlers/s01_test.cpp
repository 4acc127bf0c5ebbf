// Stream 1 by direct call: every row of the control-state tables, in both settings of Comm_New_Version.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

class S01 : public fake::ModuleFixture {};

// Message; Comm_New_Version; what differs at the start; the answer's code or "who" (S1F2); LinkMD, CtrlMD,
// Comm_Establish, Online_Status, Remote_Status, Control_State and the one event afterwards. All six are 77
// before ("U" afterwards), a value that no handler writes.
const char* const table = R"(
S1F1 W. | new | Online_Init=0 | who | 3 1 1 1 0 U ONLINE_LOCAL
S1F1 W. | new | Online_Init=1 | who | 3 2 1 1 1 U ONLINE_REMOTE
S1F1 W. | new | Online_Init=2 Remote_Status=0 | who | 3 1 1 1 0 U ONLINE_LOCAL
S1F1 W. | new | Online_Init=2 Remote_Status=1 | who | 3 2 1 1 1 U ONLINE_REMOTE
S1F1 W. | new | Online_Init=2 Remote_Status=5 | who | 3 U 1 1 0 U ONLINE_LOCAL
S1F1 W. | new | Online_Init=9 | who | 3 U 1 1 U U || S1F1 W. | old | fa:CtrlMD=1 | who | 3 1 1 1 0 U ONLINE_LOCAL
S1F1 W. | old | fa:CtrlMD=2 | who | 3 2 1 1 1 U ONLINE_REMOTE || S1F1 W. | old | fa:CtrlMD=0 | who | 3 1 1 1 0 U ONLINE_LOCAL
S1F2 <L>. | new | Online_Init=1 | | U 2 U 1 1 U ONLINE_REMOTE
S1F2. | new | Online_Init=2 Remote_Status=0 | | U 1 U 1 0 U ONLINE_LOCAL
S1F2. | old | fa:CtrlMD=0 | | U 1 U 1 0 U ONLINE_LOCAL
S1F13 W <L>. | new | Init_ControlState=0 | 0 | 3 0 1 0 U 0 EQUIP_OFFLINE
S1F13 W <L>. | new | Init_ControlState=1 | 0 | 3 1 1 1 0 3 ONLINE_LOCAL
S1F13 W <L>. | old | Init_ControlState=2 | 0 | 3 2 1 1 1 4 ONLINE_REMOTE
S1F13 W <L>. | old | Init_ControlState=9 | 0 | 3 1 1 1 0 3 ONLINE_LOCAL || S1F13 W <L>. | old | Comm_Enable=0 | 1 | 1 U 0 U U U
S1F13 W <L>. | new | Comm_Enable=2 | 1 | 1 U 0 U U U || S1F13 W <L>. | new | fa:Enable=0 | 1 | 1 U 0 U U U
S1F14 <L <B 0> <L>>. | new | Init_ControlState=0 | | 3 0 1 0 U 0 EQUIP_OFFLINE
S1F14 <L <B 0> <L>>. | new | Init_ControlState=2 | | 3 2 1 1 1 4 ONLINE_REMOTE
S1F14 <L <B 0> <L>>. | new | Init_ControlState=4 | | 3 1 1 1 0 3 ONLINE_LOCAL
S1F14 <L <B 0> <L>>. | old | fa:CtrlMD=0 | | 3 0 1 0 U U EQUIP_OFFLINE
S1F14 <L <B 0> <L>>. | old | fa:CtrlMD=2 | | 3 2 1 1 1 U ONLINE_REMOTE
S1F14 <L <B 0> <L>>. | old | fa:CtrlMD=7 | | 3 1 1 1 0 U ONLINE_LOCAL || S1F14 <L <B 1> <L>>. | new | | | 2 U 0 U U U
S1F15 W. | new | Online_Status=1 | 0 | 3 0 1 0 U 2 HOST_OFFLINE
S1F15 W. | new | Online_Status=0 Comm_Establish=1 | 2 | 3 0 1 0 U 2
S1F15 W. | new | Online_Status=0 Comm_Establish=0 | 0 | 3 0 1 0 U 2 HOST_OFFLINE
S1F15 W. | old | fa:CtrlMD=1 | 0 | 3 0 1 0 U 2 HOST_OFFLINE || S1F15 W. | old | fa:CtrlMD=0 fa:LinkMD=3 | 2 | 3 0 1 0 U 2
S1F15 W. | old | fa:CtrlMD=0 fa:LinkMD=2 | 0 | 3 0 1 0 U 2 HOST_OFFLINE
S1F17 W <U1 1>. / S1F17 W <U8 4294967297>. | new | | 0 | U 1 U U 0 3 ONLINE_LOCAL
S1F17 W <U1 2>. | old | | 0 | U 2 U U 1 4 ONLINE_REMOTE || S1F17 W <B 2>. | new | | 0 | U 2 U U 1 4 ONLINE_REMOTE
S1F17 W <I1 -1>. | new | Online_Init=1 | 0 | 3 2 1 1 1 4 ONLINE_REMOTE
S1F17 W. | new | Online_Status=0 Online_Init=0 | 0 | 3 1 1 1 0 3 ONLINE_LOCAL
S1F17 W <U1 0>. | old | Online_Status=0 Online_Init=2 Remote_Status=1 | 0 | 3 2 1 1 1 4 ONLINE_REMOTE
S1F17 W <A "2">. | new | Online_Status=0 Online_Init=2 Remote_Status=5 | 0 | 3 1 1 1 0 3 ONLINE_LOCAL
S1F17 W <L>. | new | Online_Status=0 Online_Init=6 | 0 | 3 1 1 1 0 3 ONLINE_LOCAL
S1F17 W. | new | Online_Status=1 Comm_Establish=1 Remote_Status=0 | 2 | 3 1 1 1 0 3
S1F17 W. | old | Online_Status=1 Comm_Establish=1 Remote_Status=1 | 2 | 3 2 1 1 1 4
S1F17 W. | old | Online_Status=1 Comm_Establish=1 Remote_Status=8 | 2 | 3 U 1 1 8 U
S1F17 W. | new | Online_Status=1 Comm_Establish=0 Online_Init=1 | 0 | 3 2 1 1 1 4 ONLINE_REMOTE
)";

TEST_F(S01, EveryRowOfTheControlStateTables) {
    for (const fake::Texts& row : fake::rows(table, 5)) {
        SCOPED_TRACE(row[0] + " " + row[2]);
        start_over();
        Comm_New_Version = row[1] == "new";
        set_states(
            "Comm_Establish=77 Online_Status=77 Remote_Status=77 Control_State=77 fa:LinkMD=77 "
            "fa:CtrlMD=77 Comm_Enable=1 fa:Enable=1 " +
            row[2]);
        sml_call(row[0]);
        EXPECT_LT(gem("Init_ControlState"), 3) << "what it does not know is corrected";
        EXPECT_TRUE(!row[2].ends_with("ControlState=9") || gem("Init_ControlState") == 1);
        const std::string model = "<L <A \"CT-200\"> <A \"1.0.0\">>";
        std::string reply = row[3];
        if (reply == "who") {
            reply = "S1F2 " + model + ".";
        } else if (!reply.empty()) {
            const int function = std::stoi(row[0].substr(3)) + 1;
            const std::string code = "<B 0x0" + reply + ">";
            reply = "S1F" + std::to_string(function) + " " +
                    (function == 14 ? "<L " + code + " " + model + ">." : code + ".");
        }
        EXPECT_EQ(fake::driver().replies(), reply);
        std::string after;
        for (const char* name : {"fa:LinkMD", "fa:CtrlMD", "Comm_Establish", "Online_Status", "Remote_Status",
                                 "Control_State"}) {
            const int value = name[0] == 'f' ? fa(name + 3) : gem(name);
            after += (value == 77 ? "U" : std::to_string(value)) + " ";
        }
        after += report_events();
        EXPECT_EQ(after.substr(0, after.find_last_not_of(' ') + 1), row[4]);
    }
}

}  // namespace
