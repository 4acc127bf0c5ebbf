// Alarm reports and what the host says to them: S5F1, S5F2, S5F3, S5F5, S5F7.
#include "fa/secs/message_queue.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

class S05 : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over();
    }

    /// Alarms 300, 100, 200 in the controller's order, of level 2, 1, 3.
    void start_over() {
        ModuleFixture::start_over(
            "[[alarm]]\nid = 300\nlevel = 2\ntext = \"third\"\n[[alarm]]\nid = 100\nlevel = 1\n"
            "text = \"first\"\n[[alarm]]\nid = 200\nlevel = 3\ntext = \"second\"\n");
        set_states("Comm_Enable=1 Online_Status=1");
        module->QFA_Get_All_ALID_List();
    }

    /// "100+ 200- 300+"
    static std::string enables() {
        std::string text;
        for (const auto& [alid, record] : ALID_List)
            text += (text.empty() ? "" : " ") + std::to_string(alid) + (record.enable ? "+" : "-");
        return text;
    }

    static std::vector<std::string> log() {
        std::vector<std::string> lines = fake::driver().log();
        for (std::string& line : lines) line.resize(std::min(line.rfind(':'), line.size()));
        return lines;
    }

    static std::string line(const std::string& text, const std::string& handler) {
        return text + " [代码行:Talwen::BC_FA::" + handler;
    }
};

TEST_F(S05, AlarmReportIsBuiltOfItsParameters) {
    const std::string long_text(511, 'x');
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"\x84", "300", "third"}, "S5F1 W <L <B 0x84> <U4 300> <A \"third\">>."},
        {{"\x05", "4294967295", "far"}, "S5F1 W <L <B 0x05> <U4 2147483647> <A \"far\">>."},
        {{std::string(1, '\0'), "-1", "off"}, "S5F1 W <L <B 0x00> <U4 4294967295> <A \"off\">>."},
        {{"\x05", "1", long_text}, "S5F1 W <L <B 0x05> <U4 1> <A \"" + long_text + "\">>."},
        {{"\x05", "1", ""}, "S5F1 W <L <B 0x05> <U4 1> <A>>."},
        {{"\x05"}, ""},  // nothing is queued
        {{}, ""},
        {{"\x05", "1", "a", "b"}, ""},
    };
    for (auto [p, expected] : cases) {
        SCOPED_TRACE(expected);
        QFA_Message_Queue_Init();
        fake::driver().reset();
        p.resize(5);
        ASSERT_EQ(QFA_Message_PushBack(5, 1, &p[0], &p[1], &p[2], &p[3], &p[4]), !expected.empty());
        FA_Message entry;
        if (QFA_Message_PopFront(&entry)) {
            QFA_Message_Send(nullptr, &entry);
            const sml::Message sent = sml::parse_message(fake::driver().sent().at(0).sml);
            EXPECT_EQ(sent.body, sml::parse_message(expected).body);
        } else {
            EXPECT_EQ(log(), std::vector{line("参数链表长度错误 , 必须是 L3.", "send_S05F01")});
        }
    }
    QFA_Message_Clear();
}

TEST_F(S05, HostAnswersToAnAlarmReport) {
    EXPECT_EQ(fake::driver().host_sends("S5F2 <B 0>."), 1UL);
    EXPECT_TRUE(log().empty());
    EXPECT_EQ(fake::driver().host_sends("S5F2 <B 1>."), 0UL);
    EXPECT_EQ(fake::driver().host_sends("S5F2 <U1 0>."), format_error);
    EXPECT_EQ(fake::driver().host_sends("S5F2."), format_error);
    const std::string bad = line("<ACKC5> 格式错误 , 必须是 B.", "recv_S05F02");
    EXPECT_EQ(log(), (std::vector{line("主机拒绝.", "recv_S05F02"), bad, bad}));
}

TEST_F(S05, EnableAlarm) {
    const std::string no_list = "消息头格式错误 , 必须是 L2.";
    const std::string no_aled = "<ALED> 格式错误 , 必须是 B.";
    const std::string no_alid = "<ALID> 格式错误 , 必须是 I()/U()/A.";
    struct Case {
        const char* body;
        int ack;  ///< -1: no answer
        const char* after;
        std::string log;
    };
    const Case cases[] = {
        {"<L <B 0> <U4 200>>", 0, "100+ 200- 300+", ""},
        {"<L <B 0x7F> <A \"100\">>", 0, "100- 200+ 300+", ""},
        {"<L <B 0x81> <I8 200>>", 0, "100+ 200+ 300+", ""},
        {"<L <B 0> <U4 999>>", 1, "100+ 200+ 300+", ""},
        {"<L <B 0x80> <A \"x\">>", 1, "100+ 200+ 300+", ""},
        // all: the numbers 0 to 2, which this machine's alarms do not have
        {"<L <B 0> <U4>>", 0, "0- 1- 2- 100+ 200+ 300+", ""},
        {"<L <B 0x80> <A>>", 0, "0+ 1+ 2+ 100+ 200+ 300+", ""},
        {"<L <B 0> <L>>", 0, "0- 1- 2- 100+ 200+ 300+", ""},
        {"<L <U1 0> <U4 200>>", -1, "100+ 200+ 300+", no_aled},
        {"<L <B> <U4 200>>", -1, "100+ 200+ 300+", no_aled},
        {"<L <B 0> <F4 200>>", -1, "100+ 200+ 300+", no_alid},
        {"<L <B 0> <L <U4 200>>>", -1, "100+ 200+ 300+", no_alid},
        {"<L <B 0>>", -1, "100+ 200+ 300+", no_list},
        {"", -1, "100+ 200+ 300+", no_list},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body);
        start_over();
        const unsigned long result = fake::driver().host_sends(std::string("S5F3 W ") + c.body + ".");
        EXPECT_EQ(result, c.ack >= 0 ? 7000UL : format_error);
        EXPECT_EQ(fake::driver().replies(), c.ack < 0 ? "" : "S5F4 <B 0x0" + std::to_string(c.ack) + ">.");
        EXPECT_EQ(enables(), c.after);
        EXPECT_EQ(log(),
                  c.log.empty() ? std::vector<std::string>{} : std::vector{line(c.log, "reply_S05F03")});
    }
}

TEST_F(S05, ListAlarms) {
    ALID_List.at(200).ALCD = 0x85;  // posted
    module->QFA_Set_ALID_Enable(100, false);
    const std::string a100 = "<L <B 0x03> <U4 100> <A \"first\">>";
    const std::string a200 = "<L <B 0x85> <U4 200> <A \"second\">>";
    const std::string a300 = "<L <B 0x04> <U4 300> <A \"third\">>";
    const std::string all = a100 + " " + a200 + " " + a300;
    const std::string s5f6 = "S5F6 <L ";
    const std::pair<std::string, std::string> cases[] = {
        {"S5F5 W <U4 300 999 100>.", s5f6 + a300 + " <L> " + a100 + ">."},
        {"S5F5 W <I8 200 200>.", s5f6 + a200 + " " + a200 + ">."},
        {"S5F5 W <U1 100 200>.", s5f6 + a100 + " " + a200 + ">."},
        {"S5F5 W <A \"200\">.", s5f6 + a200 + ">."},
        {"S5F5 W <L <U4 300> <A \"100\"> <I1 -1>>.", s5f6 + a300 + " " + a100 + " <L>>."},
        {"S5F5 W <U4>.", s5f6 + all + ">."},
        {"S5F5 W <L>.", s5f6 + all + ">."},
        {"S5F5 W.", s5f6 + all + ">."},
        {"S5F7 W.", "S5F8 <L " + a200 + " " + a300 + ">."},
        {"S5F7 W <U4 100>.", "S5F8 <L " + a200 + " " + a300 + ">."},
        {"S5F5 W <F4 100>.", ""},
        {"S5F5 W <B>.", ""},
        {"S5F5 W <L <U4 100> <BOOLEAN T>>.", ""},
    };
    for (const auto& [request, reply] : cases) {
        SCOPED_TRACE(request);
        fake::driver().reset();
        EXPECT_EQ(fake::driver().host_sends(request), reply.empty() ? format_error : 7000UL);
        EXPECT_EQ(fake::driver().replies(), reply);
        EXPECT_EQ(log(), reply.empty()
                             ? std::vector{line("<ALID> 格式错误 , 必须是 I()/U()/A.", "reply_S05F05")}
                             : std::vector<std::string>{});
    }
    module->QFA_Set_ALID_Enable(200, false);
    module->QFA_Set_ALID_Enable(300, false);
    fake::driver().host_sends("S5F7 W.");
    EXPECT_EQ(fake::driver().replies(), "S5F8 <L>.");
}

}  // namespace
