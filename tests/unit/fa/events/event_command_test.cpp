// The gate before every command, the keywords REQUEST and SEND, and what happens to exceptions.
#include <filesystem>
#include <stdexcept>

#include "event_fixture.h"

namespace {

using namespace Talwen;

class EventCommand : public fake::EventFixture {
  protected:
    static std::string refusal(const std::string& command, const std::string& link, const std::string& ctrl) {
        return "0 消息: " + command + " 执行失败![LinkMD:FA_" + link + " , CtrlMD:FA_" + ctrl + "]";
    }
};

struct State {
    int mode;
    const char* name;
};
constexpr State links[] = {
    {0, "Link_Disconn"}, {1, "Link_Disabled"}, {2, "Link_Enabled"}, {3, "Link_Commu"}, {-1, "Link_Unknown"}};
constexpr State ctrls[] = {
    {0, "Ctrl_OffLine"}, {1, "Ctrl_OnLocal"}, {2, "Ctrl_OnRemote"}, {3, "Ctrl_Unknown"}};

TEST_F(EventCommand, TheGateAsksTheSettingsInUse) {
    for (const bool new_version : {true, false})
        for (const State& link : links)
            for (const State& ctrl : ctrls)
                for (const int gem : {0, 1, 2, 3}) {
                    Comm_New_Version = new_version;
                    set_states("fa:LinkMD=" + std::to_string(link.mode) + " fa:CtrlMD=" +
                               std::to_string(ctrl.mode) + " Comm_Enable=" + std::to_string(gem & 1) +
                               " Online_Status=" + std::to_string(gem >> 1));
                    const bool open = new_version ? gem == 3 : link.mode == 3 && ctrl.mode != 0;
                    const std::string command = "PM_STATE 1|0";
                    EXPECT_EQ(raised_by(command), open ? "10301" : "");
                    const fake::Texts refused{refusal(command, link.name, ctrl.name)};
                    EXPECT_EQ(logged(), open ? fake::Texts{} : refused);
                    EXPECT_EQ(raised_by("CTRLMODE_STATE 1"), "10101");
                    EXPECT_TRUE(logged().empty());
                }
}

TEST_F(EventCommand, EveryKeywordButTwoIsGatedAndNoUnknownOne) {
    set_states("Online_Status=0");
    std::istringstream words(
        "+SEND +EQUIPMENT +PM +PORT +SUBST +CARRIER +MODULE +SPOOL +TRACE +RECIPE +ALARM +ECID +OPERATOR "
        "+MESSAGE +SEMI +PRCSJOB REQUEST CTRLMODE HELLO _ EVENT");
    for (std::string word; words >> word;) {
        const bool gated = word[0] == '+';
        const std::string command = word.substr(gated ? 1 : 0) + "_NOTHING 1";
        EXPECT_EQ(raised_by(command), "");
        const fake::Texts refused{refusal(command, "Link_Commu", "Ctrl_OnRemote")};
        EXPECT_EQ(logged(), gated ? refused : fake::Texts{}) << command;
    }
    EXPECT_EQ(raised_by(""), "");
}

// Command; Comm_New_Version; LinkMD and both switches before it; these three, CtrlMD and Control_State
// afterwards; what is queued, or that it is ignored aloud.
const char* const commands = R"(
REQUEST_ENABLE | new | 0 0 | 2 1 1 9 9 || REQUEST_ENABLE | new | 1 0 | 1 1 1 9 9 || REQUEST_ENABLE | old | 3 0 | 2 1 1 9 9
REQUEST_DISABLE | new | 0 0 | 0 0 0 9 9 || REQUEST_DISABLE | old | 3 0 | 1 0 0 9 9
REQUEST_LOCAL / REQUEST_RECONNECT x | new | 2 0 | 2 0 0 9 9 | ignored || REQUEST_OFFLINE | old | 2 0 | 2 0 0 9 9 | ignored
REQUEST_LOCAL | new | 1 1 | 1 1 1 1 3 | S1F13 || REQUEST_REMOTE | old | 1 1 | 1 1 1 2 4 | S1F13 S2F17
REQUEST_OFFLINE | new | 0 1 | 0 1 1 0 0 || REQUEST_OFFLINE | old | 1 1 | 1 1 1 0 0
REQUEST_OFFLINE | new | 2 1 | 2 1 1 0 0 | 10101 || REQUEST_OFFLINE | old | 3 1 | 3 1 1 0 0 | 10101
REQUEST_ENABLE / REQUEST_DISABLE / REQUEST_local / REQUEST / REQUESTS_LOCAL | new | 2 1 | 2 1 1 9 9
REQUEST_ENABLE / REQUEST_DISABLE | old | 2 1 | 2 1 1 9 9
)";

TEST_F(EventCommand, RequestSwitchesAndControlStateByCommand) {
    for (const fake::Texts& row : fake::rows(commands, 5)) {
        SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
        begin();
        Comm_New_Version = row[1] == "new";
        const std::string enable = row[2].substr(2);
        set_states("fa:CtrlMD=9 Control_State=9 fa:LinkMD=" + row[2].substr(0, 1) + " Comm_Enable=" + enable +
                   " fa:Enable=" + enable);
        const bool ignored = row[4] == "ignored";
        EXPECT_EQ(raised_by(row[0]), ignored ? "" : row[4]);
        EXPECT_EQ(states("fa:LinkMD fa:Enable Comm_Enable fa:CtrlMD Control_State"), row[3]);
        EXPECT_FALSE(Reconnect);
        const std::string line = "忽略 FA消息处理 , FA Disabled.[" + row[0] + "]";
        EXPECT_EQ(fake::driver().log(), ignored ? fake::Texts{line} : fake::Texts{});
    }
}

TEST_F(EventCommand, RequestReconnectSavesTheSettingsAndRaisesTheFlagEvenWhenSavingFails) {
    set_states("Comm_Enable=1 PrnChk=1");
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "Z/FA/FA_SAVE.inf"));
    EXPECT_TRUE(fake::driver().log().empty());
    EXPECT_EQ(console.front(), "接收消息:REQUEST_RECONNECT");

    Reconnect = false;
    std::filesystem::remove_all(folder.path() / "Z");
    folder.put("Z", "a file where the drive should be");
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_EQ(fake::driver().log(), fake::Texts{"FA_SAVE.inf 保存失败!"});
}

// Message; whether it is spooled; then by LinkMD 0 to 3, in each by CtrlMD 0 to 2: q queued, r refused,
// u unsupported, . nothing.
const char* const primaries = R"(
S1F13 | | rrr ... rrr qqq || S1F13 | spooled | rqq ... rqq qqq || S6F11 | | rrr ... rrr rqq || S6F11 | spooled | rqq ... rqq rqq
S05F01 | | rrr ... rrr rqq || S2F17 | | uuu ... uuu uuu || S6F12 | spooled | uuu ... uuu uuu || S1F | | uuu ... uuu uuu
S6F11 x | spooled | uuu ... uuu uuu
)";

TEST_F(EventCommand, PrimariesByState) {
    for (const fake::Texts& row : fake::rows(primaries, 3))
        for (int state = 0; state < 12; ++state) {
            const int link = state / 3;
            const int ctrl = state % 3;
            const char outcome = row[2][static_cast<std::size_t>(link * 4 + ctrl)];
            QFA_Clear_Spool_Table();
            if (!row[1].empty()) QFA_Set_Spool_Enable(row[0][1] - '0', std::atoi(row[0].c_str() + 3), true);
            set_states("fa:LinkMD=" + std::to_string(link) + " fa:CtrlMD=" + std::to_string(ctrl));
            const std::string command = "SEND_PRIMIRY " + row[0] + "|7";
            SCOPED_TRACE(command + " " + std::to_string(state));
            raised_by(command);
            EXPECT_EQ(built.size(), outcome == 'q' ? 1U : 0U);
            EXPECT_EQ(QFA_Message_Queue_Length(), outcome == 'q' ? 1U : 0U);
            fake::Texts lines;
            if (outcome == 'r') lines = {refusal(command, links[link].name, ctrls[ctrl].name)};
            if (outcome == 'u') lines = {"0 消息: " + command + " 不支持!"};
            EXPECT_EQ(logged(), lines);
        }
}

TEST_F(EventCommand, PrimariesCarryUpToFiveParameters) {
    const std::string long_text(2500, 'x');
    const std::pair<std::string, Params> cases[] = {
        {"S6F11|10101", {"10101"}},
        {"S6F11|1,2,3,4,5,6", {"1", "2", "3", "4", "5,6"}},
        {"S6F11|a b|c,,d", {"a b|c", "d"}},
        {"S6F11|" + long_text + ",2", {long_text, "2"}},
        {"S1F13", {}},
    };
    for (const auto& [arguments, params] : cases) {
        raised_by("SEND_PRIMIRY " + arguments);
        ASSERT_EQ(built.size(), 1U);
        EXPECT_EQ(Params(built[0].begin() + 1, built[0].end()), params);
    }
}

// The command; the code byte as a number, ALID and text of the S5F1, or "unknown" for the log line.
const char* const alarm_commands = R"(
SEND_ALARM_POST 1001 / SEND_ALARM_POST 1001 | 133 1001 Door open || SEND_ALARM_CLEAR 1001 | 5 1001 Door open
SEND_ALARM_POST 500|x | 128 500 no level || SEND_ALARM_CLEAR 500 | 0 500 no level
SEND_ALARM_POST 1002 / SEND_ALARM_POST | unknown || SEND_ALARM_CLEAR 1002 / SEND_ALARM 1001 / SEND_PRIMARY S1F13
)";

TEST_F(EventCommand, AlarmsAreSentWithTheirCodeByte) {
    const std::string unknown = "Talwen::BC_FA::QProgram_Event_Code , AlarmID 未识别 , 不能向主机端传送!";
    for (const fake::Texts& row : fake::rows(alarm_commands, 2)) {
        const bool sent = raised_by(row[0]) == "S5F1";
        const Params p = sent ? built.at(0) : Params{"", "u", "", ""};
        const std::string code = std::to_string(static_cast<unsigned char>(p.at(1).at(0)));
        EXPECT_EQ(sent ? code + " " + p.at(2) + " " + p.at(3) : "", row[1] == "unknown" ? "" : row[1]);
        EXPECT_EQ(fake::driver().log(), row[1] == "unknown" ? fake::Texts{unknown} : fake::Texts{}) << row[0];
        EXPECT_TRUE(logged().empty()) << row[0];
    }
    module->QFA_Set_ALID_Enable(1001, false);
    EXPECT_EQ(raised_by("SEND_ALARM_POST 1001") + raised_by("SEND_ALARM_CLEAR 1001"), "");
    ALID_STRU* alarm = nullptr;
    ASSERT_TRUE(module->QFA_Get_ALID_Stru(1001, &alarm));
    EXPECT_EQ(alarm->ALCD, 5);
    EXPECT_TRUE(logged().empty() && fake::driver().log().empty());
}

TEST_F(EventCommand, RuntimeErrorsAreLoggedAndOthersReachTheFramework) {
    set_states("PrnChk=1");
    sim::set_console_sink([](const sim::ConsoleLine&) { throw std::runtime_error("no printer"); });
    EXPECT_EQ(raised_by("PM_STATE 1|0"), "");
    EXPECT_EQ(logged(), fake::Texts{"1 捕捉到异常:\"no printer\".[消息参数:PM_STATE 1|0.]"});
    sim::set_console_sink([](const sim::ConsoleLine&) { throw std::logic_error("broken"); });
    EXPECT_THROW(raised_by("PM_STATE 1|0"), std::logic_error);
    sim::set_console_sink(nullptr);
}

}  // namespace
