// S2F41: the parameter check, the control-state gate and every command, through the receive dispatcher.
#include <sstream>

#include "fa/handlers/s02_command_steps.h"
#include "support/module_fixture.h"

namespace {

/// Two carrier modules of three slots; on CM1 the carrier "FOUP1" with wafers in slots 1 and 2.
const char* const tool =
    "[[carrier_module]]\nname='LP1'\nslots=3\n[[carrier_module]]\nname='LP2'\nslots=3\n"
    "[[string]]\nname='CM1.ReadCID'\n[[string]]\nname='CM1.LotID'\n[[string]]\nname='CM1.PPID'\n"
    "[[recipe]]\nkind='lot'\nname='ETCH'\n[[recipe]]\nkind='lot'\nname='ETCH,2'\n";

const std::string scheduler = "QSCH_RUN_F_SCHEDULER";
const std::string main_monitor = "QSCH_EVENT_F_MAIN_MONITOR";

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
            done += (done.empty() ? "" : "; ") + line;
        });
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
        const std::string pair = "([A-Za-z]+) (<.*?>)(; |$)";
        std::string pairs = fake::replaced(parameters, pair, " <L <A \"$1\"> $2>");
        return "S2F41 W <L <A \"" + command + "\"> <L" + pairs + ">>.";
    }

    /// "HCACK NAME:CPACK ..." of an S2F42.
    static std::string short_reply(const std::string& reply) {
        const std::string flags = fake::replaced(reply, " <L <A \"(\\w+)\"> <B 0x0(.)>>", " $1:$2");
        return fake::replaced(flags, "S2F42 <L <B 0x0(.)> <L(.*)>>\\.", "$1$2");
    }

    /// "<RCMD:command/CPNAME:" is "<:", "<command" is "<", an acceptance "+", an invalid value "!NAME".
    static std::string short_log(const std::string& command) {
        std::string log = log_of("reply_S02F41");
        for (const auto& [pattern, text] :
             {std::pair<std::string, const char*>{"Talwen::BC_FA::reply_S02F41 , ([^~]*)~", "$1/"},
              {" @", "/"},
              {command + ":已收到命令\\.", "+"},
              {"<RCMD:" + command + "/CPNAME:", "<:"},
              {"<" + command, "<"},
              {"<:([^>]*)> value invalid Error\\.", "!$1"},
              {"/$", ""}})
            log = fake::replaced(log, pattern, text);
        return log;
    }

    /// Rows: set-up ("fa:NAME=VALUE", "ctc:NAME=VALUE" of CM1, "run=RESULT", "event=RESULT"), RCMD, pairs
    /// "NAME <VALUE>; NAME <VALUE>", HCACK and the flagged parameters ("3 PORTID:2"), every call that changes
    /// something by "; " ("run" for the scheduler, "event" for the main monitor), and the log as log() has
    /// it.
    void try_commands(std::string table) {
        table = fake::with(table, "port1", "PORTID <U1 1>");
        table = fake::with(table, "carrier", "PORTID <U1 1>; CarrierID <A \"FOUP1\">");
        table = fake::with(table, "busy", "<> 不能执行 , MAIN_CONTROL1 已是运行状态.");
        for (const fake::Texts& row : fake::rows(table, 6)) {
            SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
            fresh_tool();
            set_up(row[0]);
            done.clear();
            EXPECT_EQ(short_reply(answer_to(request(row[1], row[2]))), row[3]);
            EXPECT_EQ(done, row[4]);
            EXPECT_EQ(short_log(row[1]), row[5]);
        }
    }

    std::string done;
};

TEST_F(S02Commands, OnlyRemotePassesTheGateButForTheControlCommands) {
    // A refused parameter comes before state and command.
    try_commands(R"(
fa:CtrlMD=1 | START | {port1} | 8 || fa:CtrlMD=0 | START | {port1} | 7 || fa:CtrlMD=9 | START | PORTID <U1 99> | 7
fa:CtrlMD=1 | Nonsense | | 8 || fa:CtrlMD=2 | Nonsense | | 1 || fa:CtrlMD=2 | start | {port1} | 1
fa:CtrlMD=1 | Nonsense | PORT <U1 1> | 3 PORT:1 | | !PORT
fa:CtrlMD=1 | START | PORTID <U8 4294967297> / PORTID <U1> | 3 PORTID:2 | | !PORTID
fa:CtrlMD=2 | Local | | 0 | QFA_Set_CtrlMD 1 || fa:CtrlMD=0 | Go_Local | | 0 | QFA_Set_CtrlMD 1 || fa:CtrlMD=1 | Local | | 5
fa:CtrlMD=1 | Go_Remote | | 0 | QFA_Set_CtrlMD 2 || fa:CtrlMD=7 | Remote | | 0 | QFA_Set_CtrlMD 2 || fa:CtrlMD=2 | Remote | | 5
)");
}

TEST_F(S02Commands, MalformedBodiesAreLoggedAndNotAnswered) {
    try_all(R"(
S2F41 W. / S2F41 W <A "START">. | none | 消息头格式错误 , 必须是 L 且 ListSize=[1 or 2]. @
S2F41 W <L <A "START"> <L> <L>>. | none | 消息头格式错误 , 必须是 L 且 ListSize=[1 or 2]. @
S2F41 W <L <U1 1>>. | none | <RCMD> 格式错误 , 必须是 A. @
S2F41 W <L <A "START"> <A "PORTID">>. | none | L[1] 格式错误 , 必须是 L. @
S2F41 W <L <A "START"> <L <L <A "JOBID"> <A "J">> <A "PORTID">>>. | none | L[1][1] 格式错误 , 必须是 L2. @
S2F41 W <L <A "START"> <L <L <A "PORTID">>>>. | none | L[1][0] 格式错误 , 必须是 L2. @
S2F41 W <L <A "START"> <L <L <U1 1> <U1 1>>>>. | none | L[1][0] 格式错误 , 必须是 L2. @
S2F41 W <L <A "PP-Select"> <L>>. | none | L[1] List_Size 长度错误 , 必须 == 1 ( 仅针对 PP_Select ). @
S2F41 W <L <A "ABORT">>. | none | L[1] 格式错误 , 必须是 L1. @
S2F41 W <L <A "ReadCarrierID">>. | none | L[1] ListSize 错误 , 必须是 1. @
S2F41 W <L <A "ChangeAccessMode"> <L>>. | none | L[1] 格式错误 , 必须是 L2. @
S2F41 W <L <A "ProceedWithSlotMap"> <L>>. | none | L[1] 格式错误 , 必须是 L4. @
S2F41 W <L <A "StartProcess"> <L>>. | none | L[1] 格式错误 , Must >= 6. @
)");
    EXPECT_EQ(done, "");
}

TEST_F(S02Commands, ParametersAreReadByTheirFormats) {
    // First elements count, and the last of several.
    try_commands(R"(
 | START | PORTID <A "CM2"> / PORTID <I8 2>; JOBID <A "J"> | 4 | run START2(F)
 | START | PORTID <U2 2 9>; EndSlot <I2 1 2> | 4 | run START2(F) ||  | START | PORTID <U1 9>; PORTID <U1 1> | 4 | run START1(F)
 | START | | 3 PORTID:2 | | !PORTID
 | START | PORTID <U1 0> / PORTID <U1 3> / PORTID <U1> / PORTID <A "LP1"> | 3 PORTID:2 | | !PORTID
 | START | PORTID <A "CM3"> / PORTID <U8 4294967297> | 3 PORTID:2 | | !PORTID
 | START | PORTID <F4 1> | 3 PORTID:3 | | <:PORTID> Value 格式错误 , 必须是 I()/U()/ASCII.
 | START | RECIPE <L>; AccessMode <U2 1>; portid <U1 1> | 3 RECIPE:3 AccessMode:3 portid:1 | | <:RECIPE> Value 格式错误 ,
    必须是 A./<:AccessMode> Value 格式错误 , 必须是 U1./!portid
 | START | WaferCount <L>; SlotMap <A "110">; LotInfo <A ""> | 3 WaferCount:3 SlotMap:3 LotInfo:3 | | START/WaferCount Value
    格式错误 , 必须是 I()/U()/A./<:SlotMap> Value 格式错误 , Must U()/I()./<:LotInfo> Value 格式错误 , 必须是 L.
 | START | StartSlot <A "1">; REDSTATE <B 1> | 3 StartSlot:3 REDSTATE:3 | | <:StartSlot> Value 格式错误 , Must
    U()/I()./<:REDSTATE> Value 格式错误 , Must U()/I()/A.
 | START | WaferCount <A "2x">; EndSlot <I2>; SlotMap <U1 0 2> | 3 WaferCount:2 EndSlot:2 SlotMap:2 | | !WaferCount/!EndSlot/!SlotMap
 | START | LotInfo <L <L <A "L"> <A "W">> <A "L">> | 3 LotInfo:3 | | L[1][1] 格式错误! 必须是 L2.
 | START | LotInfo <L <L <A "L"> <U1 1>>> | 3 LotInfo:3 | | <:LotInfo> Value 格式错误 , 必须是 A.
)");
}

TEST_F(S02Commands, LongNamesAreCutInTheReplyAndLongTextsRefused) {
    const std::string name(300, 'n');
    fake::driver().host_sends("S2F41 W <L <A \"START\"> <L <L <A \"" + name +
                              "\"> <L <L>>> <L <A \"JOBID\"> <A \"" + std::string(256, 'j') + "\">>>>.");
    EXPECT_EQ(fake::driver().replies(), "S2F42 <L <B 0x03> <L <L <A \"" + name.substr(0, 255) +
                                            "\"> <B 0x01>> <L <A \"JOBID\"> <B 0x02>>>>.");
    const std::string fits(255, 'j'), rest = "START | LotInfo <L <L <A \"";
    for (const std::string& texts : {fits + "j\"> <A \"" + fits, fits + "\"> <A \"j" + fits})
        try_commands(" | " + rest + texts + "\">>> | 3 LotInfo:2 | | !LotInfo");
    EXPECT_EQ(done, "");
}

TEST_F(S02Commands, TheSchedulersResultDecidesTheAnswer) {
    // Refused by the scheduler: no point is written after that.
    try_commands(R"(
run=101 | START | {port1} | 3 PORTID:2 | run START1(F) | !PORTID
run=102 | START | {port1} | 2 | run START1(F) | START:全自动运行中, 指令拒绝执行.
run=103 | START | PORTID <U1 2> | 2 | run START2(F) | START:调度接口例程( SCHEDULRE_INTERFACE_CM2)忙, 指令拒绝执行.
run=104 | START | {port1} | 2 | run START1(F) | START:调度维护例程( SCHEDULRE_MAINT_CM1)忙, 指令拒绝执行.
run=105 | START | {port1} | 3 RECIPE:2 | run START1(F) | 远程指令<> 传送系统已经处于运行中, 指令拒绝执行!
run=2 | START | {port1} | 2 | run START1(F) | 远程指令<> SCHEDULER 运行参数[START1(F)] 运行失败, 指令拒绝执行!
run=0 | ProceedWithCarrierID | {carrier} | 2 | run ProceedWithCarrierID1(F) | 远程指令<> SCHEDULER
    运行参数[ProceedWithCarrierID1(F)] 运行失败, 指令拒绝执行!
)");
}

TEST_F(S02Commands, TowerAndBuzzerGoToTheMainMonitor) {
    // What a main monitor does not take (event=0, the last rows) is kept all the same.
    std::string table = R"(
 | SignalTower | {all} | 0 | event $FA {tower}
 | SignalTower | | 9 ||  | SignalTower | REDSTATE <I1 -1> | 9
 | SignalTower | YELLOWSTATE <U1 1> | 3 REDSTATE:2 GREENSTATE:2 BLUESTATE:2 | | !REDSTATE/!GREENSTATE/!BLUESTATE
event=0 | SignalTower | {all} | 2 | event $FA {tower} | 远程指令<> MAIN_MONITOR EVENT[$FA {tower}] 发送失败, 指令拒绝执行!
)";
    table = fake::with(table, "all",
                       "BLUESTATE <U1 3>; REDSTATE <A \"1\">; YELLOWSTATE <I4 2>; GREENSTATE <U1 0>");
    try_commands(fake::with(table, "tower", "SIGNALTOWER  RED:1|GREEN:0|YELLOW:2|BLUE:3"));
    EXPECT_EQ(Talwen::Signal_Tower_State[2], 2);
    try_commands(R"(
 | AlarmBuzzer | ALARMBUZZER <U1 4> | 0 | event $FA SIGNALTOWER  BUZZER:4
 | AlarmBuzzer | | 3 ALARMBUZZER:2 | | !ALARMBUZZER
event=0 | ALARMBUZZER | ALARMBUZZER <U1 5> | 2 | event $FA SIGNALTOWER  BUZZER:5 | 远程指令<> MAIN_MONITOR EVENT[$FA
    SIGNALTOWER  BUZZER:5] 发送失败.
)");
    EXPECT_EQ(Talwen::Alarm_Buzzer_State, 5);
}

TEST_F(S02Commands, JobAndCarrierCommandsCheckTheirPort) {
    try_commands(R"(
ctc:MAIN_CONTROL=1 | STOP | {port1} | 4 | run STOP1(F) | + || ctc:MAIN_CONTROL=1 | PAUSE | {port1} | 4 | run PAUSE1(F) | +
ctc:MAIN_CONTROL=2 | RESUME | {port1} | 4 | run RESUME1(F) | + || ctc:MAIN_CONTROL=1 | ABORT | {port1} | 4 | run ABORT1(F) | +
ctc:MAIN_CONTROL=1 | ABORT | PORTID <U1 2> | 2 | | ABORT:未处于自动运行中,指令拒绝执行.
 | STOP | PORTID <U1 3> | 3 PORTID:2 | | !PORTID ||  | PPSelect | RECIPE <A "ETCH"> | 0 | QString_Write_Mem 2 ETCH | +
 | PP_Select | RECIPE <A "OTHER"> | 3 RECIPE:2 | | <> 错误 , recipe:OTHER 未找到.
 | PP_Select | JOBID <A "ETCH"> | 3 RECIPE:2 | | !RECIPE || ctc:MAIN_CONTROL=1 | PP_Select | RECIPE <A "ETCH"> | 2 | | {busy}
 | ReadCarrierID | {port1} | 4 | run ReadCarrierID1(F) | +
 | ReadCarrierID | PORTID <U1 2> | 3 PORTID:2 | | <:PORTID> Value 错误 , 必须 Carrier > 0.
 | ChangeAccessMode | PORTID <U1 2>; AccessMode <U1 1> | 4 | run ChangeAccessMode2(F) 1 | +
 | ChangeAccessMode | PORTID <U1 2>; AccessMode <U1 2> | 3 AccessMode:2 | | !AccessMode
 | ChangeAccessMode | JOBID <A "">; RECIPE <A ""> | 3 PORTID:2 AccessMode:2 | | !PORTID/!AccessMode
 | LockWithCarrierID | {carrier} | 4 | run LockWithCarrierID1(F) | +
ctc:CMx_CarrierID=X | LockWithCarrierID | {carrier} | 3 CarrierID:2 | | !CarrierID
 | UnlockWithCarrierID | {carrier} | 4 | run UnlockWithCarrierID1(F) | +
 | LoadWithCarrierID | {carrier} | 4 | run LoadWithCarrierID1(F) | +
ctc:CMx_Carrier=0 | LockWithCarrierID | {carrier} | 3 PORTID:2 | | <:PORTID> Value 错误 , 必须 Carrier > 0.
ctc:MAIN_CONTROL=1 | UnlockWithCarrierID | {carrier} | 2 | | {busy}
ctc:WAFER_TARGET_COUNT=5 ctc:WAFER_REAL_COUNT=5 | UnloadWithCarrierID | {carrier} | 4 | run UnloadWithCarrierID1(F) | +
ctc:WAFER_TARGET_COUNT=5 ctc:WAFER_REAL_COUNT=4 | UnloadWithCarrierID | {carrier} | 2 | | <> Error , 设置Wafer数量:5 , 实际Wafer数量:4.
ctc:CMx_CarrierID= | ProceedWithCarrierID | {carrier} | 4 | run ProceedWithCarrierID1(F); QString_Write_Mem 0 FOUP1 | +
 | ProceedWithCarrierID | PORTID <U1 1>; CarrierID <A ""> | 3 CarrierID:2 | | !CarrierID
)");
}

TEST_F(S02Commands, ProceedWithSlotMapHoldsTheHostsMapAgainstTheWafers) {
    std::string table = R"(
 | {map} <U1 2>; LotInfo <L {1} {2}>; SlotMap <U1 1 1 0> | 4 | {done} | +
 | {map} <A "2">; LotInfo <L {1} {2} {0}>; SlotMap <U1 1 1 0> | 4 | {done} | +
 | {map} <U1 3>; LotInfo <L {1} {2}>; SlotMap <U1 1 1 0> | 3 WaferCount:2 | | <> Error , 设置Wafer数量:3 , 实际Wafer数量:2.
 | {map} <U1 2>; LotInfo <L {1} {2}>; SlotMap <U1 1 0 0> | 3 SlotMap:2 | | <> Error , 设置Wafer数量:1 , 实际Wafer数量:2.
 | {map} <U1 2>; LotInfo <L {1} {2}>; SlotMap <U1 1 1 1> | 3 SlotMap:2 | | ProceedWithSlotMap/SlotMap Value错误 ,
    当实际没有Wafer，但是主机端标记的时候错误.
 | {map} <U1 2>; LotInfo <L {1} {2} <L <A ""> <A "W3">>>; SlotMap <U1 1 1 0> | 3 LotInfo:2 | | ProceedWithSlotMap/LotInfo
    Value错误 , 当实际没有Wafer，但是主机端标记的时候错误.
 | {map} <U1 2>; LotInfo <L {1} <L <A "L2"> <A "">>>; SlotMap <U1 1 1 0> | 3 LotInfo:2 | | <:LotInfo> Value <LOTID/WAFERID> 为空错误.
 | {map} <U1 2>; LotInfo <L {1}>; SlotMap <U1 1 1 0> | 3 LotInfo:2 | | <:LotInfo> Value <LOTID/WAFERID> 为空错误.
 | {map} <U1 2>; LotInfo <L {0} {0} {0} {0}>; SlotMap <U1 1 1 0> | 3 LotInfo:2 | | <:LotInfo> ListSize 超限 , 必须是 < 4.
 | {map} <U1 2>; LotInfo <L {1} {2}>; SlotMap <I2 1 1 0 0> | 3 SlotMap:2 | | !SlotMap
)";
    table = fake::with(table, "map", "ProceedWithSlotMap | PORTID <A \"CM1\">; WaferCount");
    table = fake::with(fake::with(table, "0", "<L <A \"\"> <A \"\">>"), "1", "<L <A \"L1\"> <A \"W1\">>");
    try_commands(fake::with(fake::with(table, "2", "<L <A \"L2\"> <A \"W2\">>"), "done",
                            "run ProceedWithSlotMap1(F); QIO_Set_CTC_CMx_LOT_ID 0 0 L1; "
                            "QIO_Set_CTC_CMx_WAFER_ID 0 0 W1; QIO_Set_CTC_CMx_LOT_ID 0 1 L2; "
                            "QIO_Set_CTC_CMx_WAFER_ID 0 1 W2; QString_Write_Mem 1 L1"));
}

TEST_F(S02Commands, StartProcessChecksJobRecipeAndSlots) {
    std::string table = R"(
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 2> | 4 | {done} | +
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 2>; WaferDes <A "d">; WaferCount <U1 2> | 4 | {done} | +
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 2>; {2} 2>; WaferCount <U1 1> | 4 | {second} | +
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 1>; WaferCount <U1 1> | 4 | {first} | +
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 3>; WaferCount <U1 3> | 3 WaferCount:2 | | <> Error , 设置Wafer数量:3 , 实际Wafer数量:2.
 | {start} <A "J,1">; RECIPE <A "ETCH">; {1} 1>; {2} 2> | 3 JOBID:2 | | !JOBID
 | {start} <A "J1">; RECIPE <A "">; {1} 1>; {2} 2> | 3 RECIPE:2 | | 远程指令<> 作业配方: 获取失败, 指令拒绝执行!
 | {start} <A "J1">; RECIPE <A "ETCH,2">; {1} 1>; {2} 2> | 3 RECIPE:2 | | 远程指令<> 作业配方:ETCH,2 获取失败, 指令拒绝执行!
 | {start} <A "J1">; RECIPE <A "OTHER">; {1} 1>; {2} 2> | 3 RECIPE:2 | | 远程指令<> 作业配方:OTHER 路径不存在, 指令拒绝执行!
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 0>; {2} 2> | 3 StartSlot:2 | | {slots}
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 4> | 3 EndSlot:2 | | {slots}
 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 3>; {2} 2> | 3 EndSlot:2 | | {slots}
 | {start} <A "J1">; RECIPE <A "ETCH">; WaferDes <A "">; WaferCount <U1 0> | 3 StartSlot:2 EndSlot:2 | | {slots}
ctc:MAIN_CONTROL=1 | {start} <A "J1">; RECIPE <A "ETCH">; {1} 1>; {2} 2> | 2 | | {busy}
)";
    table = fake::with(table, "start", "StartProcess | {carrier}; JOBID");
    table = fake::with(fake::with(table, "1", "StartSlot <U1"), "2", "EndSlot <U1");
    table = fake::with(table, "slots", "远程指令<> 起始片槽号与结束片槽号获取异常，指令拒绝执行!");
    for (const auto& [word, slots] : {std::pair{"first", "1,1"}, {"second", "2,2"}, {"done", "1,2"}})
        table = fake::with(
            table, word, std::string("run StartProcess1(F) J1,ETCH,") + slots + "; QString_Write_Mem 2 ETCH");
    try_commands(table);
}

}  // namespace
