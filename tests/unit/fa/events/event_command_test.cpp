// The gate before every command, the keyword SEND, and what happens to exceptions.
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

TEST_F(EventCommand, TheGateStandsBeforeEveryKeywordButTwoAndBeforeNoUnknownOne) {
    set_states("Online_Status=0");
    for (const char* keyword :
         {"SEND", "EQUIPMENT", "PM", "PORT", "SUBST", "CARRIER", "MODULE", "SPOOL", "TRACE", "RECIPE",
          "ALARM", "ECID", "OPERATOR", "MESSAGE", "SEMI", "PRCSJOB"}) {
        const std::string command = std::string(keyword) + "_NOTHING 1";
        EXPECT_EQ(raised_by(command), "");
        EXPECT_EQ(logged(), fake::Texts{refusal(command, "Link_Commu", "Ctrl_OnRemote")});
    }
    for (const char* command :
         {"REQUEST_NOTHING", "CTRLMODE_NOTHING 1", "CTRLMODE_STATE 5", "HELLO_STATE 1", "", "_"}) {
        EXPECT_EQ(raised_by(command), "");
        EXPECT_TRUE(logged().empty()) << command;
    }
}

TEST_F(EventCommand, OffLineIsToldToTheHostWhileThereIsALink) {
    for (const State& link : links) {
        set_states("fa:LinkMD=" + std::to_string(link.mode));
        EXPECT_EQ(raised_by("REQUEST_OFFLINE"), link.mode >= 2 ? "10101" : "");
        EXPECT_EQ(fa("CtrlMD"), 0);
    }
}

// Message; whether it is spooled; then by LinkMD 0 to 3, in each by CtrlMD 0 to 2: q queued, r refused,
// u unsupported, . nothing.
const char* const primaries = R"(
S1F13 | | rrr ... rrr qqq
S1F13 | spooled | rqq ... rqq qqq
S6F11 | | rrr ... rrr rqq
S6F11 | spooled | rqq ... rqq rqq
S05F01 | | rrr ... rrr rqq
S2F17 | | uuu ... uuu uuu
S6F12 | spooled | uuu ... uuu uuu
S1F | | uuu ... uuu uuu
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

TEST_F(EventCommand, AlarmsAreSentWithTheirCodeByte) {
    using namespace std::string_literals;
    const std::string unknown = "Talwen::BC_FA::QProgram_Event_Code , AlarmID 未识别 , 不能向主机端传送!";
    const struct {
        const char* command;
        std::vector<Params> built;
        std::string log = "";
    } cases[] = {
        {"SEND_ALARM_POST 1001", {{"S5F1", "\x85", "1001", "Door open"}}},
        {"SEND_ALARM_POST 1001", {{"S5F1", "\x85", "1001", "Door open"}}},
        {"SEND_ALARM_CLEAR 1001", {{"S5F1", "\x05", "1001", "Door open"}}},
        {"SEND_ALARM_POST 500|x", {{"S5F1", "\x80", "500", "no level"}}},
        {"SEND_ALARM_CLEAR 500", {{"S5F1", "\0"s, "500", "no level"}}},
        {"SEND_ALARM_POST 1002", {}, unknown},
        {"SEND_ALARM_POST", {}, unknown},
        {"SEND_ALARM_CLEAR 1002", {}},
        {"SEND_ALARM 1001", {}},
        {"SEND_PRIMARY S1F13", {}},
    };
    for (const auto& c : cases) {
        raised_by(c.command);
        EXPECT_EQ(built, c.built) << c.command;
        EXPECT_EQ(fake::driver().log(), c.log.empty() ? fake::Texts{} : fake::Texts{c.log}) << c.command;
        EXPECT_TRUE(logged().empty()) << c.command;
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
