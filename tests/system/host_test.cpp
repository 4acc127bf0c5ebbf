// fa-host and the real equipment: control states in both settings, fresh processes, and what the host's
// commands change there and say.
#include "support/host.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <thread>

#include "support/equipment_process.h"

namespace {

using support::EquipmentProcess;
using support::Host;

// A session that ends while the equipment waits for a reply keeps it waiting up to T3.
const support::EquipmentOptions short_t3{.settings = {{"T3_PRM", "1"}}, .machine = {}};

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// Establishes communication and runs the script; fa-host's output when it failed, "" when all was met.
std::string converse(const EquipmentProcess& equipment, const std::string& script) {
    const support::Finished run = support::run_host(
        equipment, "S1F13 W <L>.\nexpect S1F14 <L <B 0> <L <A \"CT-200\"> <A *>>>.\n" + script);
    return run.status == 0 ? "" : run.output;
}

TEST(HostOverTcp, ControlStatesInTheNewerSettings) {
    const struct {
        int init;  // Init_ControlState
        const char* script;
        std::array<int, 4> after;  // CtrlMD, Online_Status, Remote_Status, Control_State
        const char* event;         // the report request that the exchange made last
    } rows[] = {
        {2, "", {2, 1, 1, 4}, "ONLINE_REMOTE"},
        {1, "", {1, 1, 0, 3}, "ONLINE_LOCAL"},
        {0, "", {0, 0, 0, 0}, "EQUIP_OFFLINE"},
        {2, "S1F15 W. expect S1F16 <B 0>.", {0, 0, 1, 2}, "HOST_OFFLINE"},
        {2,
         "S1F15 W. expect S1F16 <B 0>. S1F3 W <L>. expect S1F0. S1F17 W <U1 0>. expect S1F18 <B 0>.",
         {2, 1, 1, 4},
         "ONLINE_REMOTE"},
        {1, "S1F17 W. expect S1F18 <B 2>.", {1, 1, 0, 3}, "ONLINE_LOCAL"},
        {1, "S1F17 W <U1 2>. expect S1F18 <B 0>.", {2, 1, 1, 4}, "ONLINE_REMOTE"},
        {0, "S1F1 W. expect S1F2 <L <A \"CT-200\"> <A *>>.", {2, 1, 1, 0}, "ONLINE_REMOTE"},
    };
    // The equipment keeps to itself (react = false), so that every state below is the exchange's.
    EquipmentProcess equipment(
        {.settings = {},
         .machine = {{"react = true", "react = false"}, {"Online_Init = ", "Online_Init = 1 # "}}});
    for (const auto& [init, script, after, event] : rows) {
        SCOPED_TRACE(std::to_string(init) + " " + script);
        equipment.command("gem Remote_Status = 0");
        equipment.command("gem Init_ControlState = " + std::to_string(init));
        EXPECT_EQ(converse(equipment, script), "");
        EXPECT_EQ(equipment.await("gem Comm_Establish", "= 0"), "= 0");  // the last that OnClose writes
        // OnClose has put the communication states down; the control states stay as the exchange left them.
        const auto n = [&, after = after](std::size_t i) { return std::to_string(after.at(i)); };
        EXPECT_TRUE(equipment.command("status").starts_with(
            "= Enter=1 LinkMD=0 CtrlMD=" + n(0) + " Comm_Enable=1 Comm_Establish=0 Online_Status=" + n(1) +
            " Remote_Status=" + n(2) + " Control_State=" + n(3) + " Reconnect="))
            << equipment.command("status");
        EXPECT_NE(equipment.command(std::string("calls QFA_Report_Event_") + event).substr(0, 3), "= 0");
    }
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostOverTcp, OlderSettingsAndADisabledLink) {
    EquipmentProcess equipment({.settings = {{"LOCAL_IP", "127.0.0.1"},
                                             {"LOCAL_PORT", "0"},
                                             {"REMOTE_PORT", "0"},
                                             {"REMOTE_IP", "127.0.0.1"}},
                                .machine = {{"react = true", "react = false"}}});
    EXPECT_EQ(equipment.command("flag Comm_New_Version"), "= 0");
    EXPECT_EQ(converse(equipment,
                       "S1F17 W <U1 2>. expect S1F18 <B 0>. S1F3 W <L <U4 1002>>. "
                       "expect S1F4 <L <F4 *>>."),
              "");
    EXPECT_EQ(equipment.command("fa Enable = 0"), "= 0");
    EXPECT_EQ(equipment.await("fa LinkMD", "= 1"), "= 1");
    EXPECT_EQ(equipment.command("gem Comm_Enable"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostOverTcp, DemoConversation) {
    EquipmentProcess equipment;
    const support::Finished run =
        support::run_program({FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()),
                              "--script", FA_DEMO "/online.script"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(equipment.quit(), 0);
}

// The link is selected, the equipment establishes communication by itself, and it answers.
TEST(HostOverTcp, FreshProcessesSelectedTheInstantTheirPortAnswers) {
    const int processes = std::getenv("FA_SOAK") != nullptr ? 1000 : 24;
    std::atomic<int> next{0};
    const auto work = [&] {
        while (next++ < processes) {
            EquipmentProcess equipment;
            Host host(equipment.port());
            EXPECT_EQ(host.select(), 0);
            const auto own = host.receive();
            EXPECT_TRUE(own && own->header.stream() == 1 && own->header.function() == 13);
            host.send(support::data(1, 1, 900));
            const auto reply = host.reply_to(900);
            EXPECT_TRUE(reply && reply->function == 2);
        }
    };
    std::vector<std::jthread> workers;
    for (int i = 0; i < 8; ++i) workers.emplace_back(work);
}

TEST(HostWork, CommandsAndTheirAnswersInWords) {
    EquipmentProcess equipment(short_t3);
    const struct {
        const char* script;
        int status;
        const char* says;
        const char* command = "status";  // for the equipment afterwards
        const char* answer = "=";        // part of what it answers
    } cases[] = {
        {"clock", 0, "= clock 20"},  // refused before communication is established
        {"constants 14 0", 0, "= 14 = 0.45\n"},
        {"set 0 12\nconstants 0", 0, "= 0 = 12\n"},
        {"set 14 0.5 # as the F4 that it is\nS2F13 W <L <U4 14>>. expect S2F14 <L <F4 0.5>>.", 0,
         "EAC 0, accepted"},
        {"set 8 \"two words\"\nconstants 8", 0, "= 8 = \"two words\"\n"},
        {"set 0 high", 1, "expected a value like 12, got high"},
        {"set 999 5", 1, "S2F15 set 999: expected EAC 0, got EAC 1, no such constant"},
        {"clock set 20300102030405", 0, "S2F31 set 20300102030405: TIACK 0, accepted"},
        {"trace 5 1 1 1002\nexpect S6F1 <L <U4 5> <U4 1> * <L <F4 *>>>.", 0, "** trace 5 sample 1 20",
         "table TRID 5", "TOTSMP=1"},
        {"trace 5 1 1 99999", 1, "S2F23 start trace 5: expected TIAACK 0, got TIAACK 4, no such variable"},
        {"untrace 5", 0, "S2F23 end trace 5: TIAACK 0", "table TRID 5", "! no record"},
        {"alarm off 1001", 0, "S5F3 disable 1001: ACKC5 0, accepted", "table ALID 1001", "enable=0"},
        {"alarm on 77", 1, "ACKC5 1"},
        {"alarms active", 0, "= 0 alarm(s)\n", "event SEND_ALARM_POST 1005", "= ok"},
        {"alarms active", 0, "= 1005 set (category 4): \"Clean dry air pressure low\"\n= 1 alarm(s)\n",
         "result QSCH_RUN_F_SCHEDULER 3", "= ok"},
        {"command START PORTID=1", 0, "START: HCACK 4, accepted, an event tells when it is done"},
        {"command START PORTID=\"CM9\"", 1, "HCACK 3, a parameter is wrong; PORTID: CPACK 2, wrong value"},
        {"command Nonsense", 1, ":1: Nonsense: expected HCACK 0 or 4, got HCACK 1, no such command"},
        {"spool S6F11 S5F1", 0, "RSPACK 0, accepted", "table SPOOL", "= S5F1 S6F11"},
        {"spool none", 0, "RSPACK 0, accepted", "table SPOOL", "="},
        {"spool S8F1", 1, "RSPACK 1, refused; stream 8: STRACK 2, no such stream"},
        {"events off 30301", 0, "ERACK 0, accepted", "table CEID 30301", "enable=0"},
        {"events on all", 0, "S2F37 enable all events: ERACK 0", "table CEID 30301", "enable=1"},
        {"events on 99999", 1, "ERACK 1, no such event"},
        {"S1F1 W.\ndefine /no/file", 2, "/no/file: expected a definition file"},
        {"S1F1 W.\nclock set 1 2", 2, ":2:13: expected end of line, found '2'", "gem Init_ControlState = 0"},
        {"constants", 1, ":1: expected S2F30, got S2F0. (refused; off-line?)"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.script);
        const support::Finished run = support::run_host(equipment, row.script);
        EXPECT_EQ(run.status, row.status) << run.output;
        EXPECT_TRUE(holds(run.output, row.says)) << run.output;
        const std::string answer = equipment.command(row.command);
        EXPECT_TRUE(holds(answer, row.answer)) << answer;
    }
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostWork, DefinesLinksEnablesAndReadsTheEventInWords) {
    EquipmentProcess equipment(short_t3);
    const support::TempFolder folder;
    // Event 30301 is linked already, by the equipment's own file, and gives way.
    const std::string definitions =
        "report 901 PortID=9001 SlotID=9002 1002\nreport 902 1003\n"
        "event 30301 901 902\nevent 800 901\nenable 30301\n";
    const std::string file = folder.put("wafers.txt", definitions).string();
    const std::string script = "define " + file + "\nawait S6F11 <L <U4 1> <U4 30301> *>.\n";
    auto run = std::async(std::launch::async, [&] { return support::run_host(equipment, script); });
    const std::string event =
        "= DATAID=1 CEID=30301 enable=1 event_name=\"\" description=\"\" LINKRPTID=901,902";
    EXPECT_EQ(equipment.await("table CEID 30301", event), event);
    EXPECT_EQ(equipment.command("table RPTID 901"),
              "= DATAID=1 RPTID=901 description=\"\" LINKVID=9001,9002,1002");
    EXPECT_TRUE(holds(equipment.command("table CEID 800"), "enable=0"));
    EXPECT_EQ(equipment.command("event SUBST_TRACK x|1|3|LP2|5|1|PM1|1"), "= ok");
    const support::Finished first = run.get();
    EXPECT_EQ(first.status, 0) << first.output;
    EXPECT_TRUE(holds(first.output, "** event 30301: report 901 (PortID=2 SlotID=4 1002=")) << first.output;
    EXPECT_TRUE(holds(first.output, "LRACK 3, an event is linked already"));

    // The second time its own definitions go first, and nothing is in the way; the first refusal ends it.
    const support::Finished again = support::run_host(equipment, "define " + file);
    EXPECT_EQ(again.status, 0) << again.output;
    EXPECT_FALSE(holds(again.output, "RACK 3"));
    // One bad variable leaves all as it was; a refusal later on leaves no event switched off.
    folder.put("wafers.txt", "report 903 9001\nreport 902 65000\nevent 30301 902 903\nenable all\n");
    const support::Finished bad_variable = support::run_host(equipment, "define " + file);
    EXPECT_EQ(bad_variable.status, 1);
    EXPECT_TRUE(
        holds(bad_variable.output,
              ":1: S2F33 report 902: expected DRACK 0, got DRACK 4, no such variable; nothing is changed"))
        << bad_variable.output;
    EXPECT_EQ(equipment.command("table CEID 30301"), event);
    EXPECT_EQ(equipment.command("table RPTID 903").substr(0, 1), "!");
    const std::string on = "; on: all events that the equipment still has, those that were off before too\n";
    const std::string removed = "; removed: all reports of DATAID 1, all its links; defined: 1 report(s)";
    std::string too_many = "event 30301";  // reports of an event
    for (int i = 0; i < 51; ++i) too_many += " 901";
    const std::array<std::string, 3> refused_later[] = {
        // and what the equipment has of event 30301
        {too_many, "LRACK 1, no space, or too many reports of an event" + removed, "!"},
        {"event 30301 901\nenable 30301 99999", "ERACK 1, no such event" + removed + ", links of 1 event(s)",
         "= DATAID=1 CEID=30301 enable=1 "},
    };
    for (const auto& [lines, says, record] : refused_later) {
        folder.put("wafers.txt", "report 901 9001\n" + lines);
        const support::Finished run_again = support::run_host(equipment, "define " + file);
        EXPECT_EQ(run_again.status, 1);
        EXPECT_TRUE(holds(run_again.output, says + on)) << run_again.output;
        EXPECT_TRUE(equipment.command("table CEID 30301").starts_with(record));
    }
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostWork, TablesInTheirOrder) {
    EquipmentProcess equipment(short_t3);
    const std::pair<const char*, const char*> cases[] = {
        {"table RPTID", "= 101 103 111 "},
        {"table CEID", "= 10101 10103 "},
        {"table TRID", "= 1 2 3 11"},
        {"table TRID 2", "TRID=2 DSPER=000010 period=10000 TOTSMP=0 "},
        {"table TMSG", "= 0 1 2 "},
        {"table TMSG 1", "= TID=1 TMESSAGE="},
        {"table CEID 5", "! no record has the id 5"},
        {"table XYZ", "KIND one of SVID ECID RVID DVID RPTID CEID TRID TMSG ALID SPOOL"},
        // the demo machine's
        {"status", "= Enter=1 "},
        {"table CEID 42201", " enable=1 event_name=CarrierAccess1 "},
        {"table CEID 42201", " LINKRPTID=422"},
        {"table RPTID 1402",
         " LINKVID=1405,1406,1407,1408,1409,1410,1411,1412,1413,1414,1415,1419,1420,1421"},
        {"table RPTID 1502", " LINKVID=1511,1512,1506"},
        {"table TRID 1", " period=3600000 "},
        {"table TMSG 2", "请确认批次配方"},
        {"mem EC.Tool.Bay", "ETCH-B3"},
    };
    for (const auto& [command, part] : cases) {
        const std::string answer = equipment.command(command);
        EXPECT_TRUE(*part == '=' ? answer.starts_with(part) : holds(answer, part)) << answer;
    }
    for (const std::string& line : equipment.console())
        for (const char* word : {"代码行", "失败", "不存在", "IOPOINT", "exception"})
            EXPECT_FALSE(holds(line, word)) << line;
    EXPECT_EQ(equipment.quit(), 0);
}

}  // namespace
