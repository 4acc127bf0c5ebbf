// Alarm reports and what the host says to them: S5F1, S5F2, S5F3, S5F5, S5F7.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

class S05 : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        begin();
    }

    /// Alarms 300, 100, 200 in the controller's order, of level 2, 1, 3.
    void begin() {
        start_over(fake::alarms("300 2 third, 100 1 first, 200 3 second"));
        set_states(fake::on_line);
        module->QFA_Get_All_ALID_List();
    }

    /// "100+ 200- 300+"
    static std::string enables() {
        std::string text;
        for (const auto& [alid, record] : ALID_List)
            text += (text.empty() ? "" : " ") + std::to_string(alid) + (record.enable ? "+" : "-");
        return text;
    }
};

TEST_F(S05, AlarmReportIsBuiltOfItsParameters) {
    const std::string long_text(511, 'x');
    const std::pair<fake::Texts, std::string> cases[] = {
        {{"\x84", "300", "third"}, "S5F1 W <L <B 0x84> <U4 300> <A \"third\">>."},
        {{"\x05", "4294967295", "far"}, "S5F1 W <L <B 0x05> <U4 2147483647> <A \"far\">>."},
        {{std::string(1, '\0'), "-1", "off"}, "S5F1 W <L <B 0x00> <U4 4294967295> <A \"off\">>."},
        {{"\x05", "1", long_text}, "S5F1 W <L <B 0x05> <U4 1> <A \"" + long_text + "\">>."},
        {{"\x05", "1", ""}, "S5F1 W <L <B 0x05> <U4 1> <A \"\">>."},
        {{"\x05"}, ""},  // nothing is queued
        {{}, ""},
        {{"\x05", "1", "a", "b"}, ""},
    };
    for (const auto& [parameters, expected] : cases) {
        EXPECT_EQ(queued(5, 1, parameters), expected);
        EXPECT_EQ(log_of("send_S05F01"), expected.empty() ? "参数链表长度错误 , 必须是 L3. @" : "");
    }
}

TEST_F(S05, HostAnswersToAnAlarmReport) {
    try_all(R"(
S5F2 <B 0>. | =1 || S5F2 <B 1>. | =0 | 主机拒绝. @ || S5F2 <U1 0>. / S5F2. | none | <ACKC5> 格式错误 , 必须是 B. @
)");
}

TEST_F(S05, EnableAlarm) {
    // All alarms: the numbers 0 to 2, which this machine's alarms do not have.
    const char* const table = R"(
S5F3 W <L <B 0> <U4 200>>. | S5F4 <B 0x00>. | | 100+ 200- 300+
S5F3 W <L <B 0x7F> <A "100">>. | S5F4 <B 0x00>. | | 100- 200+ 300+
S5F3 W <L <B 0x81> <I8 200>>. | S5F4 <B 0x00>. | | 100+ 200+ 300+
S5F3 W <L <B 0> <U4 999>>. / S5F3 W <L <B 0x80> <A "x">>. | S5F4 <B 0x01>. | | 100+ 200+ 300+
S5F3 W <L <B 0> <U4>>. / S5F3 W <L <B 0> <L>>. | S5F4 <B 0x00>. | | 0- 1- 2- 100+ 200+ 300+
S5F3 W <L <B 0x80> <A>>. | S5F4 <B 0x00>. | | 0+ 1+ 2+ 100+ 200+ 300+
S5F3 W <L <U1 0> <U4 200>>. / S5F3 W <L <B> <U4 200>>. | none | <ALED> 格式错误 , 必须是 B. @ | 100+ 200+ 300+
S5F3 W <L <B 0> <F4 200>>. | none | <ALID> 格式错误 , 必须是 I()/U()/A. @ | 100+ 200+ 300+
S5F3 W <L <B 0> <L <U4 200>>>. | none | <ALID> 格式错误 , 必须是 I()/U()/A. @ | 100+ 200+ 300+
S5F3 W <L <B 0>>. / S5F3 W. | none | 消息头格式错误 , 必须是 L2. @ | 100+ 200+ 300+
)";
    try_all(table, enables, [this] { begin(); });
}

TEST_F(S05, ListAlarms) {
    ALID_List.at(200).ALCD = 0x85;  // posted
    module->QFA_Set_ALID_Enable(100, false);
    std::string table = R"(
S5F5 W <U4 300 999 100>. | S5F6 <L {300} <L> {100}>. || S5F5 W <I8 200 200>. | S5F6 <L {200} {200}>.
S5F5 W <U1 100 200>. | S5F6 <L {100} {200}>. || S5F5 W <A "200">. | S5F6 <L {200}>.
S5F5 W <L <U4 300> <A "100"> <I1 -1>>. | S5F6 <L {300} {100} <L>>.
S5F5 W <U4>. / S5F5 W <L>. / S5F5 W. | S5F6 <L {100} {200} {300}>. || S5F7 W. / S5F7 W <U4 100>. | S5F8 <L {200} {300}>.
S5F5 W <F4 100>. / S5F5 W <B>. | none | <ALID> 格式错误 , 必须是 I()/U()/A. @
S5F5 W <L <U4 100> <BOOLEAN T>>. | none | <ALID> 格式错误 , 必须是 I()/U()/A. @
)";
    table = fake::with(table, "100", "<L <B 0x03> <U4 100> <A \"first\">>");
    table = fake::with(table, "200", "<L <B 0x85> <U4 200> <A \"second\">>");
    try_all(fake::with(table, "300", "<L <B 0x04> <U4 300> <A \"third\">>"));
    for (const int id : {200, 300}) module->QFA_Set_ALID_Enable(id, false);
    EXPECT_EQ(answer_to("S5F7 W."), "S5F8 <L>.");
}

}  // namespace
