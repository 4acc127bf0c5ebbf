// S1F3, S1F11, S1F14's format checks and S1F75 through the receive dispatcher.
#include <cstring>

#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

/// Digital points 0 and 1, analog 0 to 2 (more than digital), string 0.
const char* const points = R"(
[[digital]]
name = "Door"
value = 1
unit = "d0"
[[digital]]
name = "Valve"
value = -5
unit = "d1"
[[analog]]
name = "Pressure"
value = 0.75
unit = "Torr"
[[analog]]
name = "Flow"
value = 12.5
[[analog]]
name = "Power"
value = 300.0
[[string]]
name = "Lot"
value = "L-1"
)";

struct Variable {
    int svid;
    IO_TYPE type;
    int point;
    unsigned char format;
};

class S01Status : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points);
        sim::machine().set_gem("Comm_Enable", 1);
        sim::machine().set_gem("Online_Status", 1);
        const Variable variables[] = {
            {1, IO_DIGITAL, 0, SECS_FORMAT_U1},  {2, IO_DIGITAL, 1, SECS_FORMAT_I2},
            {3, IO_DIGITAL, 1, SECS_FORMAT_F4},  {4, IO_DIGITAL, 2, SECS_FORMAT_U4},
            {5, IO_ANALOG, 0, SECS_FORMAT_F4},   {6, IO_ANALOG, 1, SECS_FORMAT_U4},
            {7, IO_ANALOG, 2, SECS_FORMAT_F8},   {8, IO_ANALOG, -1, SECS_FORMAT_F8},
            {9, IO_STRING, 0, SECS_FORMAT_A},    {10, IO_STRING, 5, SECS_FORMAT_A},
            {11, IO_FUNCTION, 0, SECS_FORMAT_A},
        };
        for (const Variable& v : variables) {
            SVID_STRU record;
            record.id = v.svid;
            record.io_type = v.type;
            record.point = v.point;
            record.format = v.format;
            SVID_List[v.svid] = record;
        }
    }

    /// Log lines up to the code line, which tests do not pin to a number.
    static std::vector<std::string> log() {
        std::vector<std::string> lines = fake::driver().log();
        for (std::string& line : lines) {
            const std::size_t code = line.find("[代码行:");
            EXPECT_NE(code, std::string::npos) << line;
            line.resize(std::min(code, line.size()));
        }
        return lines;
    }
};

TEST_F(S01Status, SelectedStatusGivesEachKindItsValueOrTheDash) {
    struct Case {
        const char* request;
        const char* reply;
        std::vector<std::string> log;
    };
    const Case cases[] = {
        {"S1F3 W <L <U4 1> <I1 2> <U8 3> <A \"5x\"> <I8 6> <U2 7> <U1 9>>.",
         "S1F4 <L <U1 1> <I2 -5> <I4 -5> <F4 0.75> <F8 12.5> <F8 300> <A \"L-1\">>.",
         {}},
        {"S1F3 W <L <I2 4> <I4 8> <U4 10> <U4 11> <U4 99> <A \"none\">>.",
         "S1F4 <L <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\">>.",
         {"<SVID> [DIO Point:2]超限错误 , 范围[0,1].", "<SVID> [AIO Point:-1]超限错误 , 范围[0,2].",
          "<SVID> [SIO Point:5]超限错误 , 范围[0,0].", "<SVID>:11 , IOType:3 未识别.", "<SVID>:99 , 未识别.",
          "<SVID>:0 , 未识别."}},
        {"S1F3 W <L <U4 9> <U4 9>>.", "S1F4 <L <A \"L-1\"> <A \"L-1\">>.", {}},
        {"S1F3 W <L <U4 1> <F4 2>>.", "", {"<SVID> 格式错误 , 必须是 I()/U()/A."}},
        {"S1F3 W <L <BOOLEAN T>>.", "", {"<SVID> 格式错误 , 必须是 I()/U()/A."}},
        {"S1F3 W <L <L>>.", "", {"<SVID> 格式错误 , 必须是 I()/U()/A."}},
        {"S1F3 W <U4 1>.", "", {"消息头格式错误 , 必须是 L."}},
        {"S1F3 W.", "", {"消息头格式错误 , 必须是 L."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.request);
        fake::driver().reset();
        const unsigned long result = fake::driver().host_sends(c.request);
        EXPECT_EQ(result, *c.reply != '\0' ? 7000UL : format_error);
        EXPECT_EQ(fake::driver().replies(), c.reply);
        EXPECT_EQ(log(), c.log);
    }
}

TEST_F(S01Status, AnEmptyListAsksForEveryVariableInTableOrder) {
    fake::driver().host_sends("S1F3 W <L>.");
    EXPECT_EQ(fake::driver().replies(),
              "S1F4 <L <U1 1> <I2 -5> <I4 -5> <A \"-\"> <F4 0.75> <F8 12.5> <F8 300> <A \"-\"> <A \"L-1\"> "
              "<A \"-\"> <A \"-\">>.");
}

TEST_F(S01Status, NamelistTestsAnalogAndStringPointsAgainstTheDigitalCount) {
    fake::driver().host_sends("S1F11 W <L <U4 1> <U4 5> <U4 6> <U4 7> <U4 9> <U4 10> <U4 11> <U4 99>>.");
    EXPECT_EQ(
        fake::driver().replies(),
        "S1F12 <L <L <U4 1> <A \"Door\"> <A \"d0\">> <L <U4 5> <A \"Pressure\"> <A \"d0\">> "
        "<L <U4 6> <A \"Flow\"> <A \"d1\">> <L <U4 7> <A \"-\"> <A \"-\">> <L <U4 9> <A \"Lot\"> <A \"-\">> "
        "<L <U4 10> <A \"-\"> <A \"-\">> <L <U4 11> <A \"-\"> <A \"-\">> <L <U4 99> <A \"-\"> <A \"-\">>>.");
    EXPECT_EQ(log(), (std::vector<std::string>{"<SVID> [AIO:2]超限错误 , 范围[0,2]. ",
                                               "<SVID> [SIO:5]超限错误 , 范围[0,0]. ",
                                               "<SVID>:11  , IO Type 3 未识别. ", "<SVID>:99 未识别."}));
    fake::driver().host_sends("S1F11 W <A \"no list\">.");  // the root is not tested: as an empty list
    EXPECT_TRUE(fake::driver().replies().starts_with("S1F12 <L <L <U4 1>")) << fake::driver().replies();
    EXPECT_EQ(fake::driver().host_sends("S1F11 W <L <F8 1>>."), format_error);
    EXPECT_EQ(log().back(), "<SVID> 格式错误, 必须是 I()/U()/A.");
}

TEST_F(S01Status, HostAnswerToEstablishCommunicationIsCheckedInItsOrder) {
    struct Case {
        const char* message;
        unsigned long result;
        int link_after;
        const char* log;
    };
    const Case cases[] = {
        {"S1F14 <L <B 0> <L <A \"H\"> <A \"1\">>>.", 1, 3, ""},
        {"S1F14 <L <B 0> <L <B 1> <U1 9>>>.", 1, 3, ""},  // a B MDLN excuses any SOFTREV
        {"S1F14 <L <B 0> <L <U1 1>>>.", 1, 3, ""},        // one name alone is not looked at
        {"S1F14 <L <B 0> <L <A \"H\"> <U1 1>>>.", format_error, 3, "<SOFTREV> 格式错误 , 必须是 B/A."},
        {"S1F14 <L <B 0> <L <U1 1> <A \"1\">>>.", format_error, 3, "<MDLN> 格式错误 , 必须是 B/A."},
        {"S1F14 <L <U1 0> <L>>.", format_error, 0, "<COMMACK> 格式错误 , 必须是 B."},
        {"S1F14 <L <B 0> <A \"\">>.", format_error, 0, "L[1] 格式错误 , 必须是 L."},
        {"S1F14 <L <B 0>>.", format_error, 0, "消息头 格式错误 , 必须是 L2."},
        {"S1F14 <B 0>.", format_error, 0, "消息头 格式错误 , 必须是 L2."},
        {"S1F14 <L <B 3> <L>>.", 0, 2, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        fake::driver().reset();
        sim::machine().set_fa("LinkMD", 0);
        EXPECT_EQ(fake::driver().host_sends(c.message), c.result);
        EXPECT_EQ(fa("LinkMD"), c.link_after);
        EXPECT_EQ(log(), *c.log != '\0' ? std::vector<std::string>{c.log} : std::vector<std::string>{});
    }
    fake::driver().host_sends("S1F14 <B 0>.");
    EXPECT_TRUE(fake::driver().log().back().find("[代码行:Talwen::BC_FA::recv_S01F14:") != std::string::npos);
}

TEST_F(S01Status, AlarmQueueListsEnabledKnownAlarmsInQueueOrder) {
    start_over(R"(
[[alarm]]
id = 300
level = 2
text = "third"
[[alarm]]
id = 100
level = 1
text = "first"
[[alarm]]
id = 200
level = 3
text = "second"
)");
    sim::machine().set_gem("Comm_Enable", 1);
    sim::machine().set_gem("Online_Status", 1);
    module->QFA_Get_All_ALID_List();
    for (const int id : {200, 300, 100}) sim::machine().post_alarm(id);
    module->QFA_Set_ALID_Enable(300, false);
    fake::driver().host_sends("S1F75 W.");
    const sml::Message reply = sml::parse_message(fake::driver().replies());
    ASSERT_TRUE(reply.body);
    ASSERT_EQ(reply.body->children.size(), 2U);
    const auto entry = [&](std::size_t i) {
        std::vector<hsms::Item> items = reply.body->children[i].children;
        items.resize(3);  // the fourth is the time of posting
        return hsms::Item::list(items);
    };
    EXPECT_EQ(entry(0), sml::parse_item("<L <B 5> <U4 200> <A \"second\">>"));
    EXPECT_EQ(entry(1), sml::parse_item("<L <B 3> <U4 100> <A \"first\">>"));
    EXPECT_FALSE(reply.body->children[0].children.at(3).bytes.empty());
}

}  // namespace
