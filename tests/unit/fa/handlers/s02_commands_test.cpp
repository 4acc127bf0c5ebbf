// S2F41: the parameter check, the control-state gate and every command, through the receive dispatcher.
#include <sstream>

#include "fa/handlers/s02_command_steps.h"
#include "support/module_fixture.h"

namespace {

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

/// Two carrier modules of three slots; on CM1 the carrier "FOUP1" with wafers in slots 1 and 2.
const char* const tool = R"(
[[carrier_module]]
name = "LP1"
slots = 3
[[carrier_module]]
name = "LP2"
slots = 3
[[string]]
name = "CM1.ReadCID"
[[string]]
name = "CM1.LotID"
[[string]]
name = "CM1.PPID"
[[recipe]]
kind = "lot"
name = "ETCH"
[[recipe]]
kind = "lot"
name = "ETCH,2"
)";

const std::string scheduler = "QSCH_RUN_F_SCHEDULER";
const std::string main_monitor = "QSCH_EVENT_F_MAIN_MONITOR";

// Parameters and log lines that recur below.
const char* const port1 = "PORTID <U1 1>";
const char* const busy = "<> 不能执行 , MAIN_CONTROL1 已是运行状态.";
const char* const no_carrier = "<:PORTID> Value 错误 , 必须 Carrier > 0.";

struct Case {
    const char* setup;       ///< "fa:NAME=VALUE", "ctc:NAME=VALUE" of CM1, "run=RESULT", "event=RESULT"
    const char* command;     ///< RCMD
    const char* parameters;  ///< the pairs "NAME <VALUE>; NAME <VALUE>"
    const char* reply;       ///< HCACK and the flagged parameters, "3 PORTID:2"; "" for none
    const char* done;  ///< every call that changes something, by "; "; "run" scheduler, "event" main monitor
    const char* log;   ///< lines up to their code line, by " | ", shortened by log()
};

class S02Commands : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        fresh_tool();
    }
    void TearDown() override {
        sim::set_journal_sink(nullptr);
        ModuleFixture::TearDown();
    }

    void fresh_tool() {
        sim::set_journal_sink(nullptr);
        start_over(tool);
        module->QProgram_Enter_Code("");
        sim::machine().carrier_arrives(1, "FOUP1");
        sim::machine().set_ctc("CMx_Wafer_Status", 0, 2, 0);
        set_states("Comm_Enable=1 Online_Status=1 fa:CtrlMD=2");
        done.clear();
        sim::set_journal_sink([this](std::string_view call) {
            std::string line(call);
            if (line.starts_with(scheduler)) line.replace(0, scheduler.size(), "run");
            if (line.starts_with(main_monitor)) line.replace(0, main_monitor.size(), "event");
            append(done, "; ", line);
        });
    }

    static void append(std::string& joined, const char* between, const std::string& part) {
        joined += (joined.empty() ? "" : between) + part;
    }

    static void set_up(const std::string& setup) {
        std::istringstream words(setup);
        for (std::string word; words >> word;) {
            const std::string name = word.substr(0, word.find('='));
            const std::string value = word.substr(word.find('=') + 1);
            if (name.starts_with("ctc:"))
                sim::machine().set_ctc(name.substr(4), 0, -1, value);
            else if (name == "run" || name == "event")
                sim::set_result(name == "run" ? scheduler : main_monitor, std::stoi(value));
            else
                set_states(word);
        }
    }

    static std::string request(const std::string& command, const std::string& parameters) {
        std::string pairs;
        for (std::size_t at = 0; at < parameters.size();) {
            const std::size_t end = std::min(parameters.find("; ", at), parameters.size());
            const std::size_t blank = parameters.find(' ', at);
            pairs += " <L <A \"" + parameters.substr(at, blank - at) + "\"> " +
                     parameters.substr(blank + 1, end - blank - 1) + ">";
            at = end + 2;
        }
        return "S2F41 W <L <A \"" + command + "\"> <L" + pairs + ">>.";
    }

    /// "HCACK NAME:CPACK ..." of the S2F42 that was sent.
    static std::string reply() {
        if (fake::driver().replies().empty()) return "";
        const sml::Message message = sml::parse_message(fake::driver().replies());
        EXPECT_EQ(message.function, 42);
        std::string text = std::to_string(message.body->children.at(0).bytes.at(0));
        for (const hsms::Item& entry : message.body->children.at(1).children)
            text += " " + std::string(entry.children.at(0).bytes) + ":" +
                    std::to_string(entry.children.at(1).bytes.at(0));
        return text;
    }

    /// "<RCMD:command/CPNAME:" is "<:", "<command" is "<", an acceptance "+", an invalid value "!NAME".
    static std::string log(const std::string& command = "") {
        const std::string code = " [代码行:Talwen::BC_FA::reply_S02F41:";
        const std::string head = "Talwen::BC_FA::reply_S02F41 , ";
        std::string joined;
        for (std::string line : fake::driver().log()) {
            EXPECT_TRUE(line.starts_with(head) || line.find(code) != std::string::npos) << line;
            if (line.starts_with(head)) line.erase(0, head.size());
            line = line.substr(0, line.find(code));
            if (line == command + ":已收到命令.") line = "+";
            for (const std::string& prefix : {"<RCMD:" + command + "/CPNAME:", "<" + command})
                if (const std::size_t at = line.find(prefix); !command.empty() && at != std::string::npos)
                    line.replace(at, prefix.size(), prefix.ends_with(':') ? "<:" : "<");
            if (line.starts_with("<:") && line.ends_with("> value invalid Error."))
                line = "!" + line.substr(2, line.find('>') - 2);
            append(joined, " | ", line);
        }
        return joined;
    }

    void expect(const Case& c) {
        SCOPED_TRACE(std::string(c.setup) + " " + c.command + " " + c.parameters);
        fresh_tool();
        set_up(c.setup);
        done.clear();
        const unsigned long result = fake::driver().host_sends(request(c.command, c.parameters));
        EXPECT_EQ(result, *c.reply != '\0' ? 7000UL : format_error);
        EXPECT_EQ(reply(), c.reply);
        EXPECT_EQ(done, c.done);
        EXPECT_EQ(log(c.command), c.log);
    }

    std::string done;
};

TEST_F(S02Commands, OnlyRemotePassesTheGateButForTheControlCommands) {
    const Case cases[] = {
        {"fa:CtrlMD=1", "START", port1, "8", "", ""},
        {"fa:CtrlMD=0", "START", port1, "7", "", ""},
        {"fa:CtrlMD=9", "START", "PORTID <U1 99>", "7", "", ""},
        {"fa:CtrlMD=1", "Nonsense", "", "8", "", ""},
        {"", "Nonsense", "", "1", "", ""},
        {"", "start", port1, "1", "", ""},
        // A refused parameter comes before state and command.
        {"fa:CtrlMD=1", "Nonsense", "PORT <U1 1>", "3 PORT:1", "", "!PORT"},
        {"", "Local", "", "0", "QFA_Set_CtrlMD 1", ""},
        {"fa:CtrlMD=0", "Go_Local", "", "0", "QFA_Set_CtrlMD 1", ""},
        {"fa:CtrlMD=1", "Local", "", "5", "", ""},
        {"fa:CtrlMD=1", "Go_Remote", "", "0", "QFA_Set_CtrlMD 2", ""},
        {"fa:CtrlMD=7", "Remote", "", "0", "QFA_Set_CtrlMD 2", ""},
        {"", "Remote", "", "5", "", ""},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(S02Commands, MalformedBodiesAreLoggedAndNotAnswered) {
    const char* const head = "消息头格式错误 , 必须是 L 且 ListSize=[1 or 2].";
    const char* const cases[][2] = {
        {"S2F41 W.", head},
        {"S2F41 W <A \"START\">.", head},
        {"S2F41 W <L <A \"START\"> <L> <L>>.", head},
        {"S2F41 W <L <U1 1>>.", "<RCMD> 格式错误 , 必须是 A."},
        {"S2F41 W <L <A \"START\"> <A \"PORTID\">>.", "L[1] 格式错误 , 必须是 L."},
        {"S2F41 W <L <A \"START\"> <L <L <A \"JOBID\"> <A \"J\">> <A \"PORTID\">>>.",
         "L[1][1] 格式错误 , 必须是 L2."},
        {"S2F41 W <L <A \"START\"> <L <L <A \"PORTID\">>>>.", "L[1][0] 格式错误 , 必须是 L2."},
        {"S2F41 W <L <A \"START\"> <L <L <U1 1> <U1 1>>>>.", "L[1][0] 格式错误 , 必须是 L2."},
        {"S2F41 W <L <A \"PP-Select\"> <L>>.", "L[1] List_Size 长度错误 , 必须 == 1 ( 仅针对 PP_Select )."},
        {"S2F41 W <L <A \"ABORT\">>.", "L[1] 格式错误 , 必须是 L1."},
        {"S2F41 W <L <A \"ReadCarrierID\">>.", "L[1] ListSize 错误 , 必须是 1."},
        {"S2F41 W <L <A \"ChangeAccessMode\"> <L>>.", "L[1] 格式错误 , 必须是 L2."},
        {"S2F41 W <L <A \"ProceedWithSlotMap\"> <L>>.", "L[1] 格式错误 , 必须是 L4."},
        {"S2F41 W <L <A \"StartProcess\"> <L>>.", "L[1] 格式错误 , Must >= 6."},
    };
    for (const auto& [message, text] : cases) {
        SCOPED_TRACE(message);
        fresh_tool();
        EXPECT_EQ(fake::driver().host_sends(message), format_error);
        EXPECT_EQ(fake::driver().replies(), "");
        EXPECT_EQ(log(), text);
        EXPECT_EQ(done, "");
    }
}

TEST_F(S02Commands, ParametersAreReadByTheirFormats) {
    const Case cases[] = {
        {"", "START", "PORTID <A \"CM2\">", "4", "run START2(F)", ""},
        {"", "START", "PORTID <I8 2>; JOBID <A \"J\">", "4", "run START2(F)", ""},
        {"", "START", "PORTID <U2 2 9>; EndSlot <I2 1 2>", "4", "run START2(F)", ""},  // first elements
        {"", "START", "PORTID <U1 9>; PORTID <U1 1>", "4", "run START1(F)", ""},       // the last
        {"", "START", "", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <U1 0>", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <U1 3>", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <U1>", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <A \"LP1\">", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <A \"CM3\">", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <U8 4294967297>", "3 PORTID:2", "", "!PORTID"},
        {"", "START", "PORTID <F4 1>", "3 PORTID:3", "", "<:PORTID> Value 格式错误 , 必须是 I()/U()/ASCII."},
        {"", "START", "RECIPE <L>; AccessMode <U2 1>; portid <U1 1>", "3 RECIPE:3 AccessMode:3 portid:1", "",
         "<:RECIPE> Value 格式错误 , 必须是 A. | <:AccessMode> Value 格式错误 , 必须是 U1. | !portid"},
        {"", "START", "WaferCount <L>; SlotMap <F8 1>; LotInfo <A \"\">",
         "3 WaferCount:3 SlotMap:3 LotInfo:3", "",
         "START/WaferCount Value 格式错误 , 必须是 I()/U()/A. | START/SlotMap Value 格式错误 , 必须是 "
         "I()/U()/A. | <:LotInfo> Value 格式错误 , 必须是 L."},
        {"", "START", "StartSlot <A \"1\">; REDSTATE <B 1>", "3 StartSlot:3 REDSTATE:3", "",
         "<:StartSlot> Value 格式错误 , Must U()/I(). | <:REDSTATE> Value 格式错误 , Must U()/I()/A."},
        {"", "START", "WaferCount <A \"2x\">; EndSlot <I2>; SlotMap <U1 0 2>",
         "3 WaferCount:2 EndSlot:2 SlotMap:2", "", "!WaferCount | !EndSlot | !SlotMap"},
        {"", "START", "LotInfo <L <L <A \"L\"> <A \"W\">> <A \"L\">>", "3 LotInfo:3", "",
         "L[1][1] 格式错误! 必须是 L2."},
        {"", "START", "LotInfo <L <L <A \"L\"> <U1 1>>>", "3 LotInfo:3", "",
         "<:LotInfo> Value 格式错误 , 必须是 A."},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(S02Commands, LongNamesAreCutInTheReplyAndLongTextsRefused) {
    const std::string name(300, 'n');
    fake::driver().host_sends("S2F41 W <L <A \"START\"> <L <L <A \"" + name +
                              "\"> <L <L>>> <L <A \"JOBID\"> <A \"" + std::string(256, 'j') + "\">>>>.");
    EXPECT_EQ(fake::driver().replies(), "S2F42 <L <B 0x03> <L <L <A \"" + name.substr(0, 255) +
                                            "\"> <B 0x01>> <L <A \"JOBID\"> <B 0x02>>>>.");
    EXPECT_EQ(done, "");
}

TEST_F(S02Commands, TheSchedulersResultDecidesTheAnswer) {
    const Case cases[] = {
        {"run=101", "START", port1, "3 PORTID:2", "run START1(F)", "!PORTID"},
        {"run=102", "START", port1, "2", "run START1(F)", "START:全自动运行中, 指令拒绝执行."},
        {"run=103", "START", "PORTID <U1 2>", "2", "run START2(F)",
         "START:调度接口例程( SCHEDULRE_INTERFACE_CM2)忙, 指令拒绝执行."},
        {"run=104", "START", port1, "2", "run START1(F)",
         "START:调度维护例程( SCHEDULRE_MAINT_CM1)忙, 指令拒绝执行."},
        {"run=105", "START", port1, "3 RECIPE:2", "run START1(F)",
         "远程指令<> 传送系统已经处于运行中, 指令拒绝执行!"},
        {"run=2", "START", port1, "2", "run START1(F)",
         "远程指令<> SCHEDULER 运行参数[START1(F)] 运行失败, 指令拒绝执行!"},
        // Refused by the scheduler: no point is written behind it.
        {"run=0", "ProceedWithCarrierID", "PORTID <U1 1>; CarrierID <A \"FOUP1\">", "2",
         "run ProceedWithCarrierID1(F)",
         "远程指令<> SCHEDULER 运行参数[ProceedWithCarrierID1(F)] 运行失败, 指令拒绝执行!"},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(S02Commands, TowerAndBuzzerGoToTheMainMonitor) {
    const char* const all = "BLUESTATE <U1 3>; REDSTATE <A \"1\">; YELLOWSTATE <I4 2>; GREENSTATE <U1 0>";
    const char* const tower = "event $FA SIGNALTOWER  RED:1|GREEN:0|YELLOW:2|BLUE:3";
    const Case cases[] = {
        {"", "SignalTower", all, "0", tower, ""},
        {"event=0", "SignalTower", all, "2", tower,
         "远程指令<> MAIN_MONITOR EVENT[$FA SIGNALTOWER  RED:1|GREEN:0|YELLOW:2|BLUE:3] 发送失败, "
         "指令拒绝执行!"},
        {"", "SignalTower", "", "9", "", ""},
        {"", "SignalTower", "REDSTATE <I1 -1>", "9", "", ""},
        {"", "SignalTower", "YELLOWSTATE <U1 1>", "3 REDSTATE:2 GREENSTATE:2 BLUESTATE:2", "",
         "!REDSTATE | !GREENSTATE | !BLUESTATE"},
        {"", "AlarmBuzzer", "ALARMBUZZER <U1 4>", "0", "event $FA SIGNALTOWER  BUZZER:4", ""},
        {"event=0", "ALARMBUZZER", "ALARMBUZZER <U1 5>", "2", "event $FA SIGNALTOWER  BUZZER:5",
         "远程指令<> MAIN_MONITOR EVENT[$FA SIGNALTOWER  BUZZER:5] 发送失败."},
        {"", "AlarmBuzzer", "", "3 ALARMBUZZER:2", "", "!ALARMBUZZER"},
    };
    for (const Case& c : cases) expect(c);
    EXPECT_EQ(Talwen::Signal_Tower_State[2], 2);
    EXPECT_EQ(Talwen::Alarm_Buzzer_State, 5);  // kept although it was not taken
}

TEST_F(S02Commands, JobAndCarrierCommandsCheckTheirPort) {
    const char* const carrier = "PORTID <U1 1>; CarrierID <A \"FOUP1\">";
    std::vector<Case> cases = {
        {"ctc:MAIN_CONTROL=1", "STOP", port1, "4", "run STOP1(F)", "+"},
        {"ctc:MAIN_CONTROL=1", "PAUSE", port1, "4", "run PAUSE1(F)", "+"},
        {"ctc:MAIN_CONTROL=2", "RESUME", port1, "4", "run RESUME1(F)", "+"},
        {"ctc:MAIN_CONTROL=1", "ABORT", port1, "4", "run ABORT1(F)", "+"},
        {"ctc:MAIN_CONTROL=1", "ABORT", "PORTID <U1 2>", "2", "", "ABORT:未处于自动运行中,指令拒绝执行."},
        {"", "STOP", "PORTID <U1 3>", "3 PORTID:2", "", "!PORTID"},
        {"", "PPSelect", "RECIPE <A \"ETCH\">", "0", "QString_Write_Mem 2 ETCH", "+"},
        {"", "PP_Select", "RECIPE <A \"OTHER\">", "3 RECIPE:2", "", "<> 错误 , recipe:OTHER 未找到."},
        {"", "PP_Select", "JOBID <A \"ETCH\">", "3 RECIPE:2", "", "!RECIPE"},
        {"ctc:MAIN_CONTROL=1", "PP_Select", "RECIPE <A \"ETCH\">", "2", "", busy},
        {"", "ReadCarrierID", port1, "4", "run ReadCarrierID1(F)", "+"},
        {"", "ReadCarrierID", "PORTID <U1 2>", "3 PORTID:2", "", no_carrier},
        {"", "ChangeAccessMode", "PORTID <U1 2>; AccessMode <U1 1>", "4", "run ChangeAccessMode2(F) 1", "+"},
        {"", "ChangeAccessMode", "PORTID <U1 2>; AccessMode <U1 2>", "3 AccessMode:2", "", "!AccessMode"},
        {"", "ChangeAccessMode", "JOBID <A \"\">; RECIPE <A \"\">", "3 PORTID:2 AccessMode:2", "",
         "!PORTID | !AccessMode"},
        {"", "LockWithCarrierID", carrier, "4", "run LockWithCarrierID1(F)", "+"},
        {"ctc:CMx_CarrierID=X", "LockWithCarrierID", carrier, "3 CarrierID:2", "", "!CarrierID"},
        {"", "UnlockWithCarrierID", carrier, "4", "run UnlockWithCarrierID1(F)", "+"},
        {"", "LoadWithCarrierID", carrier, "4", "run LoadWithCarrierID1(F)", "+"},
        {"ctc:CMx_Carrier=0", "LockWithCarrierID", carrier, "3 PORTID:2", "", no_carrier},
        {"ctc:MAIN_CONTROL=1", "UnlockWithCarrierID", carrier, "2", "", busy},
        {"ctc:WAFER_TARGET_COUNT=5 ctc:WAFER_REAL_COUNT=5", "UnloadWithCarrierID", carrier, "4",
         "run UnloadWithCarrierID1(F)", "+"},
        {"ctc:WAFER_TARGET_COUNT=5 ctc:WAFER_REAL_COUNT=4", "UnloadWithCarrierID", carrier, "2", "",
         "<> Error , 设置Wafer数量:5 , 实际Wafer数量:4."},
        {"ctc:CMx_CarrierID=", "ProceedWithCarrierID", carrier, "4",
         "run ProceedWithCarrierID1(F); QString_Write_Mem 0 FOUP1", "+"},
        {"", "ProceedWithCarrierID", "PORTID <U1 1>; CarrierID <A \"\">", "3 CarrierID:2", "", "!CarrierID"},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(S02Commands, ProceedWithSlotMapHoldsTheHostsMapAgainstTheWafers) {
    struct Map {
        const char* count;
        const char* lots;
        const char* map;
        const char* reply;
        const char* log;
    };
    const char* const empty_id = "<:LotInfo> Value <LOTID/WAFERID> 为空错误.";
    const char* const good = "<L <L <A \"L1\"> <A \"W1\">> <L <A \"L2\"> <A \"W2\">>>";
    const Map maps[] = {
        {"<U1 2>", good, "<A \"110\">", "4", "+"},
        {"<A \"2\">", "<L <L <A \"L1\"> <A \"W1\">> <L <A \"L2\"> <A \"W2\">> <L <A \"\"> <A \"\">>>",
         "<U1 1 1 0>", "4", "+"},
        {"<U1 3>", good, "<A \"110\">", "3 WaferCount:2", "<> Error , 设置Wafer数量:3 , 实际Wafer数量:2."},
        {"<U1 2>", good, "<A \"100\">", "3 SlotMap:2", "<> Error , 设置Wafer数量:1 , 实际Wafer数量:2."},
        {"<U1 2>", good, "<A \"111\">", "3 SlotMap:2",
         "ProceedWithSlotMap/SlotMap Value错误 , 当实际没有Wafer，但是主机端标记的时候错误."},
        {"<U1 2>", "<L <L <A \"L1\"> <A \"W1\">> <L <A \"L2\"> <A \"W2\">> <L <A \"\"> <A \"W3\">>>",
         "<A \"110\">", "3 LotInfo:2",
         "ProceedWithSlotMap/LotInfo Value错误 , 当实际没有Wafer，但是主机端标记的时候错误."},
        {"<U1 2>", "<L <L <A \"L1\"> <A \"W1\">> <L <A \"L2\"> <A \"\">>>", "<A \"110\">", "3 LotInfo:2",
         empty_id},
        {"<U1 2>", "<L <L <A \"L1\"> <A \"W1\">>>", "<A \"110\">", "3 LotInfo:2", empty_id},
        {"<U1 2>",
         "<L <L <A \"\"> <A \"\">> <L <A \"\"> <A \"\">> <L <A \"\"> <A \"\">> <L <A \"\"> <A \"\">>>",
         "<A \"110\">", "3 LotInfo:2", "<:LotInfo> ListSize 超限 , 必须是 < 4."},
        {"<U1 2>", good, "<A \"1100\">", "3 SlotMap:2", "!SlotMap"},
    };
    for (const Map& m : maps) {
        const std::string parameters = std::string("PORTID <A \"CM1\">; WaferCount ") + m.count +
                                       "; LotInfo " + m.lots + "; SlotMap " + m.map;
        const bool accepted = m.reply == std::string("4");
        expect({"", "ProceedWithSlotMap", parameters.c_str(), m.reply,
                accepted ? "run ProceedWithSlotMap1(F); QIO_Set_CTC_CMx_LOT_ID 0 0 L1; "
                           "QIO_Set_CTC_CMx_WAFER_ID 0 0 W1; QIO_Set_CTC_CMx_LOT_ID 0 1 L2; "
                           "QIO_Set_CTC_CMx_WAFER_ID 0 1 W2; QString_Write_Mem 1 L1"
                         : "",
                m.log});
    }
}

TEST_F(S02Commands, StartProcessChecksJobRecipeAndSlots) {
    struct Job {
        const char* setup;
        const char* job;
        const char* recipe;
        const char* slots;
        const char* reply;
        const char* log;
    };
    const char* const slots = "StartSlot <U1 1>; EndSlot <U1 2>";
    const char* const slots_log = "远程指令<> 起始片槽号与结束片槽号获取异常，指令拒绝执行!";
    const Job jobs[] = {
        {"", "J1", "ETCH", slots, "4", "+"},
        {"", "J1", "ETCH", "StartSlot <U1 1>; EndSlot <U1 2>; WaferDes <A \"d\">; WaferCount <U1 2>", "4",
         "+"},
        {"", "J1", "ETCH", "StartSlot <U1 1>; EndSlot <U1 3>; WaferCount <U1 3>", "3 WaferCount:2",
         "<> Error , 设置Wafer数量:3 , 实际Wafer数量:2."},
        {"", "J,1", "ETCH", slots, "3 JOBID:2", "!JOBID"},
        {"", "J1", "", slots, "3 RECIPE:2", "远程指令<> 作业配方: 获取失败, 指令拒绝执行!"},
        {"", "J1", "ETCH,2", slots, "3 RECIPE:2", "远程指令<> 作业配方:ETCH,2 获取失败, 指令拒绝执行!"},
        {"", "J1", "OTHER", slots, "3 RECIPE:2", "远程指令<> 作业配方:OTHER 路径不存在, 指令拒绝执行!"},
        {"", "J1", "ETCH", "StartSlot <U1 0>; EndSlot <U1 2>", "3 StartSlot:2", slots_log},
        {"", "J1", "ETCH", "StartSlot <U1 1>; EndSlot <U1 4>", "3 EndSlot:2", slots_log},
        {"", "J1", "ETCH", "StartSlot <U1 3>; EndSlot <U1 2>", "3 EndSlot:2", slots_log},
        {"", "J1", "ETCH", "WaferDes <A \"\">; WaferCount <U1 0>", "3 StartSlot:2 EndSlot:2", slots_log},
        {"ctc:MAIN_CONTROL=1", "J1", "ETCH", slots, "2", busy},
    };
    for (const Job& j : jobs) {
        const std::string parameters = std::string("PORTID <U1 1>; CarrierID <A \"FOUP1\">; JOBID <A \"") +
                                       j.job + "\">; RECIPE <A \"" + j.recipe + "\">; " + j.slots;
        const bool accepted = j.reply == std::string("4");
        expect({j.setup, "StartProcess", parameters.c_str(), j.reply,
                accepted ? "run StartProcess1(F) J1,ETCH,1,2; QString_Write_Mem 2 ETCH" : "", j.log});
    }
}

}  // namespace
