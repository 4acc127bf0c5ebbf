// Which commands raise which events, and no others; the fields in the data variables.
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "event_fixture.h"
#include "fa/events/event_context.h"

namespace {

using namespace Talwen;

// COMMAND, then "first-last:event+step" for its numbers; the step is 1 where it is left out.
const char* const event_rows = R"(
CTRLMODE_STATE 1-2:10101+0 3-4:10103 11-11:10111 EQUIPMENT_STATE 1-11:12101 PM_STATE 1-6:10301
PORT_STATE 1-12:11101+100 PORT_TRANSFER 1-7:11101+100 PORT_AMHS 1-2:41101 PORT_MATERIAL 1-2:41201
PORT_RESERVE 1-2:41301 SUBST_TRACK 1-2:30101 3-4:30201 5-8:30301 9-11:30401 12-13:30501 14-15:30601+100
SUBST_OCR 1-2:30101 3-3:30201 CARRIER_ID 1-7:41401 11-13:43901 CARRIER_MAP 1-3:41501 4-5:41601 6-8:41701
9-9:41801 CARRIER_ASSOC 1-3:42101 CARRIER_ACCESS 1-1:42201 2-4:42301 CARRIER_ACTION 1-6:48101 11-14:48111
21-24:48121 31-34:48131 41-44:48141 51-54:48151 61-62:48161 71-74:48171 81-82:48181 CARRIER_IDMANL 1-9:60101
MODULE_MODE 1-2:50101 3-3:50104 SPOOL_TRANSFER 1-2:51101 TRACE_REPORT 1-3:52101 RECIPE_EDIT 1-3:53101
4-6:53201 7-9:53301 ALARM_REPORT 1-2:54101 ECID_CHANGE 1-1:56101 OPERATOR_COMMAND 1-1:57101
MESSAGE_RECOGNI 1-1:55101 SEMI_TRANSFER 1-7:61001 101-108:61101 201-204:61201 301-304:61301 401-404:61401
PRCSJOB_STATE 1-7:49101
)";

/// N and CEID of every command.
std::map<std::string, std::map<int, int>> event_map() {
    std::map<std::string, std::map<int, int>> map;
    std::string command;
    std::istringstream in(event_rows);
    for (std::string word; in >> word;) {
        int first = 0, last = 0, ceid = 0, step = 1;
        if (std::sscanf(word.c_str(), "%d-%d:%d+%d", &first, &last, &ceid, &step) < 3) command = word;
        for (int n = first; first > 0 && n <= last; ++n) map[command][n] = ceid + step * (n - first);
    }
    return map;
}

/// The text with one blank for every run of white space.
std::string one_line(const std::string& text) {
    std::string joined;
    std::istringstream in(text);
    for (std::string word; in >> word;) joined += word + " ";
    return joined;
}

/// The command with its selector where the command expects it.
std::string with_number(const std::string& command, const std::string& number) {
    return command + " " + (command == "SUBST_TRACK" ? "1||||" : "") + number;
}

class EventTable : public fake::EventFixture {
  protected:
    /// Every data variable and GEM point that the module has set, as "name=value", in the lists' order; the
    /// GEM points with "gem." before them.
    static std::string written() {
        std::string all;
        const auto add = [&](const char* shown, const char* operation) {
            const auto record = sim::calls(operation);
            if (record && record->count > 0)
                all += (all.empty() ? "" : " ") + std::string(shown) + "=" + record->arguments;
        };
#define FA_DVID(type, name) add(#name, "QFA_Set_DVID_" #name);
#include "fa/framework/dvid_setters.def"
#undef FA_DVID
#define FA_GEM(type, access, name) add("gem." #name, "QIO_Set_GEM_" #name);
#include "fa/framework/gem_points.def"
#undef FA_GEM
        return all;
    }
};

TEST_F(EventTable, EveryNumberOfTheTableRaisesItsEventOnceAndNothingElseDoes) {
    const auto known = event_map();
    std::set<std::string> keywords{"EVENT", "Pm", ""};
    std::set<std::string> subwords{"", "state", "STATES", "STAT", "STATE_"};
    for (const auto& [command, events] : known) {
        keywords.insert(command.substr(0, command.find('_')));
        subwords.insert(command.substr(command.find('_') + 1));
    }
    for (const std::string& keyword : keywords)
        for (const std::string& subword : subwords) {
            const std::string command = keyword + "_" + subword;
            const auto events = known.contains(command) ? known.at(command) : std::map<int, int>{};
            for (int n = -3; n <= (events.empty() ? 1 : 450); ++n) {
                const std::string expected = events.contains(n) ? std::to_string(events.at(n)) : "";
                ASSERT_EQ(raised_by(with_number(command, std::to_string(n))), expected) << command << n;
                ASSERT_EQ(QFA_Message_Queue_Length(), expected.empty() ? 0U : 1U);
                ASSERT_TRUE(written().empty() || !expected.empty()) << command << n;
            }
            for (const char* number : {"", "x", "99999999999999999999", "4294967297", "-4294967295"})
                EXPECT_EQ(raised_by(with_number(command, number)), "") << command << " " << number;
        }
    EXPECT_EQ(raised_by("PM STATE 1"), "");
    EXPECT_EQ(raised_by("PM_STATE\t1"), "10301");
}

// A command, the event, and all that is written; continued on lines that begin with a blank.
const char* const field_rows = R"(
CTRLMODE_STATE 2|9|9|9 => 10101 gem.Equip_Status=7 || EQUIPMENT_STATE 11 => 12111 gem.EquipModel_State=11
PM_STATE 1|1|4|5 => 10301 PMState_StepNum=0 PMState_PrcsResult=0 PMState_MdlName=PM2 PMState_MdlID=PM2-STRIP PMState_StepName=
    gem.ModuleModel_State=1 gem.StepNum=0 gem.StepName=
PM_STATE 5|0|Main Etch|4 => 10305 PMState_StepNum=4 PMState_PrcsResult=0 PMState_MdlName=PM1 PMState_MdlID=PM1-ETCH
    PMState_StepName=Main Etch gem.ModuleModel_State=5 gem.StepNum=4 gem.StepName=Main Etch
PM_STATE 6|0|2|9 => 10306 PMState_StepNum=0 PMState_PrcsResult=2 PMState_MdlName=PM1 PMState_MdlID=PM1-ETCH PMState_StepName=
    gem.ModuleModel_State=6 gem.StepNum=0 gem.StepName=
PORT_STATE 7|1|8|no => 11701 PortID=2 RejectCode=0 RejectName= PortState_PortID=PORT2 PortState_CarrierID=C-2
    PortState_PPID=LR-2 PortState_JobID=J-2 gem.Port_Status=6
PORT_TRANSFER 7|1|8|clamp|stuck => 11701 PortID=2 RejectCode=8 RejectName=clamp|stuck PortState_PortID=PORT2
    PortState_CarrierID=C-2 PortState_PPID=LR-2 PortState_JobID=J-2 gem.Port_Status=6
PORT_AMHS 2|1 => 41102 PortID=2 PortState_PortID=PORT2 gem.AMHS_Status=1 gem.PortID=2
PORT_AMHS 2|2 => 41102 PortID=3 PortState_PortID=PORT3 gem.AMHS_Status=0 gem.PortID=3
PORT_MATERIAL 1|1 => 41201 PortID=2 PortState_PortID=PORT2 || PORT_RESERVE 1|x => 41301 PortID=1 PortState_PortID=PORT1
SUBST_TRACK x|1|1|no|1|no|no|no => 30101 PortID=2 SlotID=2 SubstState_PortID=PORT2 SubstState_SlotID=SLOT2 {no transfer}
    gem.PortID=2 gem.WaferID=W-22 gem.LotID=LOT2 gem.MID=C-2 gem.PPID=PP2
SUBST_TRACK 9|0|2|LP1|5|2|PM1|0 => 30301 PortID=1 SlotID=3 SubstState_PortID=PORT1 SubstState_SlotID=SLOT3
    SubstTrack_FromMdlName=LP1 SubstTrack_FromMdlID=LP1 SubstTrack_FromMdlSlotID=SLOT3 SubstTrack_ToMdlName=PM1
    SubstTrack_ToMdlID=PM1-ETCH SubstTrack_ToMdlSlotID=SLOT1 gem.PortID=1 gem.WaferID= gem.LotID= gem.MID= gem.PPID=
SUBST_OCR 3|1|0 => 30201 PortID=2 SlotID=1 SubstState_PortID=PORT2 SubstState_SlotID=SLOT1 {no transfer} gem.PortID=2
    gem.WaferID= gem.LotID=LOT2 gem.MID=C-2 gem.PPID=PP2
CARRIER_ID 1|1|0|no => 41401 PortID=2 CarrierState_PortID=PORT2 CarrierState_CarrierID=C-2 CarrierState_DupPortID= gem.PortID=2 gem.MID=C-2
CARRIER_ID 13|1|0|C-9 => 43903 PortID=2 CarrierState_PortID=PORT2 CarrierState_CarrierID=C-9 CarrierState_DupPortID=PORT1 gem.PortID=2 gem.MID=C-9
CARRIER_MAP 9|1 => 41801 PortID=2 CarrierState_PortID=PORT2 gem.PortID=2 gem.Substx_MapState=3?
CARRIER_MAP 1|2 => 41501 PortID=3 CarrierState_PortID=PORT3 gem.PortID=3 gem.Substx_MapState=
CARRIER_ASSOC 3|1 => 42103 PortID=2 CarrierState_PortID=PORT2 || CARRIER_ACCESS 2|0 => 42301 PortID=1 CarrierState_PortID=PORT1
CARRIER_ACTION 72|1|no => 48172 PortID=2 CarrierState_PortID=PORT2 gem.PortID=2 gem.MID=RC2
CARRIER_ACTION 73|1|C-7 => 48173 PortID=2 CarrierState_PortID=PORT2 gem.PortID=2 gem.MID=C-7
CARRIER_ACTION 1|0 => 48101 PortID=1 CarrierState_PortID=PORT1 gem.PortID=1 gem.MID=
CARRIER_IDMANL 9|1 => 60109 PortID=2 CarrierState_PortID=PORT2
PRCSJOB_STATE 7|1 => 49107 gem.PortID=2 gem.LotID=LOT2 gem.PPID=PP2
MODULE_MODE 2|PM2|5|no => 50102 RejectCode=0 RejectName= ModuleMode_MdlName=PM2 ModuleMode_MdlID=PM2-STRIP
MODULE_MODE 3|PM2|5|busy => 50104 RejectCode=5 RejectName=busy ModuleMode_MdlName=PM2 ModuleMode_MdlID=PM2-STRIP
SPOOL_TRANSFER 2|17 => 51102 SpoolTransfer_Count=17
TRACE_REPORT 3|12 => 52103 TraceReport_ID=12 TraceReport_Totsam=0 TraceReport_Repgsz=0 TraceReport_VIDNum=0
    TraceReport_CurCut=0 TraceReport_Dsper=HHMMSS
RECIPE_EDIT 2|R1|no => 53102 RecipeEdit_Name=R1 RecipeEdit_Type=LOT
RECIPE_EDIT 6|R1|no => 53203 RecipeEdit_Name=R1 RecipeEdit_Type=CLUSTER
RECIPE_EDIT 7|R1|PM2 => 53301 RecipeEdit_Name=R1 RecipeEdit_Type=PM2
ALARM_REPORT 1|1001|133|Door|open => 54101 AlarmReport_ALID=1001 AlarmReport_ALCD=133 AlarmReport_Text=Door|open
MESSAGE_RECOGNI 1|3 => 55101 MessageRecogni_TID=3
ECID_CHANGE 1|40 => 56101 ECIDChange_IOName=AccessModeStatus2 ECIDChange_IOType=U1 ECIDChange_OldValue=9 ECIDChange_NewValue=1
ECID_CHANGE 1|41 => 56101 ECIDChange_IOName=41 ECIDChange_IOType= ECIDChange_OldValue= ECIDChange_NewValue=
OPERATOR_COMMAND 1|START LP1 => 57101 Operator_Command=START LP1 || SEMI_TRANSFER 301|1|2|3 => 61301
)";

TEST_F(EventTable, FieldsReachTheirVariables) {
    define(ECID_List, "40 0 0 0 0 0 AccessModeStatus2");
    ECID_List.read()->at(40).type = "U1";
    sim::Machine& machine = sim::machine();
    machine.set_mem("AccessModeStatus2", 9);
    for (const auto& [name, port, slot, value] :
         std::initializer_list<std::tuple<const char*, int, int, const char*>>{
             {"RUN_CONTROL", -1, -1, "7"},
             {"MAIN_CONTROL", 1, -1, "6"},
             {"CMx_CarrierID", 1, -1, "C-2"},
             {"LOT_RECIPE", 1, -1, "LR-2"},
             {"JOB_ID", 1, -1, "J-2"},
             {"CMx_WAFER_ID", 1, 1, "W-22"},
             {"CMx_Wafer_Status", 1, 0, "3"},
             {"CMx_Wafer_Status", 1, 1, "12"}})
        machine.set_ctc(name, port, slot, std::string(value));
    const char* const none =
        "SubstTrack_FromMdlName= SubstTrack_FromMdlID= SubstTrack_FromMdlSlotID= "
        "SubstTrack_ToMdlName= SubstTrack_ToMdlID= SubstTrack_ToMdlSlotID=";
    for (const fake::Texts& row : fake::rows(fake::with(field_rows, "no transfer", none), 1)) {
        const std::string command = row[0].substr(0, row[0].find(" => "));
        const std::string raised = raised_by(command);
        EXPECT_EQ(one_line(command + " => " + raised + " " + written()), one_line(row[0]));
    }
}

TEST_F(EventTable, WhatIsNotThereRaisesAndWritesNothing) {
    std::istringstream commands(
        "PM_STATE 1|2; PM_STATE 1|-1; PORT_STATE 1|3; PORT_TRANSFER 7|-1|1|x; PORT_AMHS 1|3; "
        "PORT_MATERIAL 1|3; PORT_RESERVE 1|-1; SUBST_TRACK x|3|0||1; SUBST_OCR 1|0|3; SUBST_OCR 1|0|-1; "
        "SUBST_OCR 1|2|0; SUBST_TRACK x|0|3||1; CARRIER_ID 1|3; CARRIER_ID 13|0|3|x; CARRIER_ID 13|0|-1|x; "
        "SUBST_TRACK x|0|0|PM1|5|-1|PM2|0; CARRIER_MAP 1|3; CARRIER_ASSOC 1|3; CARRIER_ACCESS 1|3; "
        "SUBST_TRACK x|0|0|PM1|8|0|PM2|-1; CARRIER_ACTION 7|; CARRIER_ACTION 1|3; CARRIER_IDMANL 1|3; "
        "PRCSJOB_STATE 1|99999999999; PRCSJOB_STATE 1|3; CARRIER_ACCESS 1|-1; CARRIER_ACCESS 1|2147483648");
    for (std::string command; std::getline(commands >> std::ws, command, ';');) {
        const std::string raised = raised_by(command);
        EXPECT_EQ(raised + written(), "") << command;
        EXPECT_TRUE(logged().empty()) << command;
    }
}

TEST_F(EventTable, RoutinesWithoutACommand) {
    sim::machine().set_ctc("CMx_WAFER_ID", 1, 1, "W-22");
    const std::string substrate =
        " PortID=2 SlotID=2 SubstState_PortID=PORT2 SubstState_SlotID=SLOT2 SubstState_WaferID=W-22";
    const std::string load = " PortID=2 SlotID=2 RejectCode=1 RejectName=why PortState_PortID=PORT2";
    std::istringstream cases(
        "S 0 1 - S 1 1 31001 S 3 1 31003 S 4 1 - S 1 3 - L 0 1 - L 6 1 40106 L 7 1 40201 L 8 1 - L 1 -1 -");
    int kind = 0;
    for (std::string routine, port, raised; cases >> routine >> kind >> port >> raised;) {
        SCOPED_TRACE(routine + std::to_string(kind) + port);
        forget();
        const auto raise = routine == "L" ? Raise_Port_Load_Event : Raise_Substrate_State_Event;
        EXPECT_EQ(raise(*module, kind, {port, "1", "why"}), raised != "-");
        EXPECT_EQ(built.empty() ? "-" : built.at(0).at(1), raised);
        EXPECT_EQ(" " + written(), raised == "-" ? " " : routine == "L" ? load : substrate);
    }
}

TEST_F(EventTable, EventsOfSeveralThreadsDoNotMix) {
    std::atomic<int> under_way{0};
    std::atomic<int> mixed{0};
    std::atomic<int> reports{0};
    sim::set_journal_sink([&](std::string_view line) {
        if (line.starts_with("QFA_Set_DVID_PortID") && ++under_way > 1) ++mixed;
        for (int i = 0; i < 20; ++i) std::this_thread::yield();  // lets the others in, if anything does
    });
    on_report = [&](const std::string&) {
        if (sim::machine().dvid("PortState_PortID") != "PORT" + sim::machine().dvid("PortID")) ++mixed;
        --under_way;
        ++reports;
    };
    std::vector<std::thread> threads;
    for (const char* command : {"PORT_MATERIAL 1|0", "PORT_RESERVE 1|1", "PORT_AMHS 1|2"})
        threads.emplace_back([=, this] {
            for (int i = 0; i < 300; ++i) module->QProgram_Event_Code(command);
        });
    for (std::thread& thread : threads) thread.join();
    sim::set_journal_sink(nullptr);
    EXPECT_EQ(reports, 900);
    EXPECT_EQ(mixed, 0);
}

TEST_F(EventTable, AnEventFromWithinAnEventIsRefused) {
    on_report = [&](const std::string&) { module->QProgram_Event_Code("SEMI_TRANSFER 1"); };
    EXPECT_EQ(raised_by("PORT_MATERIAL 1|0"), "41201");
    EXPECT_EQ(raised_by("PORT_RESERVE 1|0"), "41301");
}

}  // namespace
