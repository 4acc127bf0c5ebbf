// S1F3, S1F11, S1F14's format checks and S1F75 through the receive dispatcher.
#include <regex>

#include "support/module_fixture.h"

namespace {

using namespace Talwen;

/// Digital points 0 and 1, analog 0 to 2 (more than digital), string 0.
const std::string points = fake::points(
    "digital Door 1 d0, digital Valve -5 d1, analog Pressure 0.75 Torr, analog Flow 12.5, analog Power "
    "300.0, "
    "string Lot 'L-1'");

class S01Status : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points);
        set_states(fake::on_line);
        define(SVID_List, R"(
            1 0 0 164,  2 0 1 104,  3 0 1 144, 4 0 2 176, 5 1 0 144, 6 1 1 176,
            7 1 2 128, 8 1 -1 128, 9 2 0 64, 10 2 1 64, 11 3 0 64)");
    }
};

TEST_F(S01Status, SelectedStatusGivesEachKindItsValueOrTheDash) {
    try_all(R"(
S1F3 W <L <U8 4294967297> <I1 2> <U8 3> <A "5x"> <I8 6> <U2 7> <U1 9> <U4 9>>. | S1F4 <L <U1 1> <I2 -5> <I4 -5> <F4 0.75> <F8
    12.5> <F8 300> <A "L-1"> <A "L-1">>.
S1F3 W <L <I2 4> <I4 8> <U4 10> <U4 11> <U4 99> <A "none">>. | S1F4 <L <A "-"> <A "-"> <A "-"> <A "-"> <A "-"> <A "-">>. |
    <SVID> [DIO Point:2]超限错误 , 范围[0,1].@<SVID> [AIO Point:-1]超限错误 , 范围[0,2].@<SVID> [SIO Point:1]超限错误 ,
    范围[0,0].@<SVID>:11 , IOType:3 未识别.@<SVID>:99 , 未识别.@<SVID>:0 , 未识别.@
S1F3 W <L>. | S1F4 <L <U1 1> <I2 -5> <I4 -5> <A "-"> <F4 0.75> <F8 12.5> <F8 300> <A "-"> <A "L-1"> <A "-"> <A "-">>. | <SVID>
    [DIO Point:2]超限错误 , 范围[0,1].@<SVID> [AIO Point:-1]超限错误 , 范围[0,2].@<SVID> [SIO Point:1]超限错误 ,
    范围[0,0].@<SVID>:11 , IOType:3 未识别.@
S1F3 W <L <U4 1> <F4 2>>. | none | <SVID> 格式错误 , 必须是 I()/U()/A.@
S1F3 W <L <BOOLEAN T>>. | none | <SVID> 格式错误 , 必须是 I()/U()/A.@
S1F3 W <L <L>>. | none | <SVID> 格式错误 , 必须是 I()/U()/A.@ || S1F3 W <U4 1>. | none | 消息头格式错误 , 必须是 L.@
S1F3 W. | none | 消息头格式错误 , 必须是 L.@
)");
}

TEST_F(S01Status, NamelistTestsAnalogAndStringPointsAgainstTheDigitalCount) {
    try_all(R"(
S1F11 W <L <U4 1> <U4 5> <U4 6> <U4 7> <U4 9> <U4 10> <U4 11> <U4 99>>. | S1F12 <L <L <U4 1> <A "Door"> <A "d0">> <L <U4 5> <A
    "Pressure"> <A "d0">> <L <U4 6> <A "Flow"> <A "d1">> <L <U4 7> <A "-"> <A "-">> <L <U4 9> <A "Lot"> <A "-">> <L <U4 10> <A
    ""> <A "-">> <L <U4 11> <A "-"> <A "-">> <L <U4 99> <A "-"> <A "-">>>. | <SVID> [AIO:2]超限错误 , 范围[0,2]. @<SVID>:11  ,
    IO Type 3 未识别. @<SVID>:99 未识别.@
S1F11 W <L <F8 1>>. | none | <SVID> 格式错误, 必须是 I()/U()/A.@
)");
    // The root is not tested: as an empty list.
    EXPECT_TRUE(answer_to("S1F11 W <A \"no list\">.").starts_with("S1F12 <L <L <U4 1>"));
}

TEST_F(S01Status, HostAnswerToEstablishCommunicationIsCheckedInItsOrder) {
    const auto link = [] { return sim::machine().fa("LinkMD"); };
    const auto unlink = [] { sim::machine().set_fa("LinkMD", 0); };
    const char* const table = R"(
S1F14 <L <B 0> <L <A "H"> <A "1">>>. / S1F14 <L <B 0> <L <B 1> <U1 9>>>. | =1 | | 3 || S1F14 <L <B 0> <L <U1 1>>>. | =1 | | 3
S1F14 <L <B 0> <L <A "H"> <U1 1>>>. | none | <SOFTREV> 格式错误 , 必须是 B/A.@ | 3
S1F14 <L <B 0> <L <U1 1> <A "1">>>. | none | <MDLN> 格式错误 , 必须是 B/A.@ | 3
S1F14 <L <U1 0> <L>>. | none | <COMMACK> 格式错误 , 必须是 B.@ | 0
S1F14 <L <B 0> <A "">>. | none | L[1] 格式错误 , 必须是 L.@ | 0
S1F14 <L <B 0>>. / S1F14 <B 0>. | none | 消息头 格式错误 , 必须是 L2.@ | 0 || S1F14 <L <B 3> <L>>. | =0 | | 2
)";
    try_all(table, link, unlink);
}

TEST_F(S01Status, AlarmQueueListsEnabledKnownAlarmsInQueueOrder) {
    start_over(fake::alarms("300 2 third, 100 1 first, 200 3 second"));
    set_states(fake::on_line);
    module->QFA_Get_All_ALID_List();
    for (const int id : {200, 300, 100}) sim::machine().post_alarm(id);
    module->QFA_Set_ALID_Enable(300, false);
    // The fourth is the time of posting.
    const std::regex reply(R"(S1F76 <L <L <B 0x05> <U4 200> <A "second"> <A "[^"]+">> )"
                           R"(<L <B 0x03> <U4 100> <A "first"> <A "[^"]+">>>\.)");
    const std::string given = answer_to("S1F75 W.");
    EXPECT_TRUE(std::regex_match(given, reply)) << given;
}

}  // namespace
