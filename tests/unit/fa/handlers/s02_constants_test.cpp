// S2F13, S2F15 and S2F29 through the receive dispatcher.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

const std::string points =
    fake::points("digital Door 1, digital Valve -5, analog Flow 12.5, string Lot 'L-1'");

class S02Constants : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points);
        set_states(fake::on_line);
        define(ECID_List, R"(0 0 1 164 0 9 Valve, 1 0 0 164 0 0 Door, 2 1 0 164 0 100 Flow, 3 2 0 164 0 0 Lot,
            4 0 2 164 -7.9 5e9 D2, 5 1 1 164 0.5 2.5 A1, 6 2 1 164 0 0 S1, 7 3 0 164 0 0 F0,
            8 0 -1 164 0 0 D-,            9 1 -1 164 0 0 A-, 10 1 0 164 50 -50 Flow, 11 0 1 164 5 -5 Valve, 44 0 1 164 0 9 Valve,
            65 1 0 164 1.5 1.5 Flow, 261 2 0 164 0 0 Lot)");
    }
    static std::string values() {
        std::string joined;
        for (const char* name : {"Door", "Valve", "Flow", "Lot"}) joined += sim::machine().io(name) + " ";
        return joined;
    }
    static unsigned long long writes() {
        return calls("QDigital_Write") + calls("QAnalog_Write") + calls("QString_Write");
    }
};

TEST_F(S02Constants, RequestedValuesAndTheNumbersTheyAreAskedBy) {
    // A number is one byte of any format, two of U1.
    const char* const table = R"(
S2F13 W <L <U1 1> <U1 0> <U1 2> <U1 3> <U1 1>>. | S2F14 <L <I4 1> <I4 -5> <F4 12.5> <A "L-1"> <I4 1>>.
S2F13 W <L <U4 300> <U2 258> <I8 -253> <A "Alarm"> <U1 5 1> <B 2 9> <BOOLEAN T> <F8 1> <L> <A "">>. | S2F14 <L <I4 -5> <F4
    12.5> <A "L-1"> <F4 12.5> <A "L-1"> <F4 12.5> <I4 1> <I4 -5> <I4 -5> <I4 -5>>.
S2F13 W <L <U1 12> <U4 1234567> <U1 0 255>>. | S2F14 <L <A "-"> <A "-"> <A "-">>. | ECID:12 未识别.@ECID:135 未识别.@ECID:65280 未识别.@
S2F13 W <L <U1 4> <U1 5> <U1 6> <U1 7> <U1 8> <U1 9>>. | S2F14 <L <A "-"> <A "-"> <A "-"> <A "-"> <A "-"> <A "-">>. | {unbound}
S2F13 W <U1 1>. / S2F13 W. | none | 消息头格式错误 , 必须是 L.@
S2F13 W <L>. | S2F14 <L <I4 -5> <I4 1> <F4 12.5> <A "L-1"> <A "-"> <A "-"> <A "-"> <A "-"> <A "-"> <A "-"> <F4 12.5> <I4 -5>
    <I4 -5> <F4 12.5> <A "L-1">>. | {unbound}
)";
    try_all(fake::with(
        table, "unbound",
        "ECID:4 [DIO D2:2] 未识别 , ECV 返回\"-\".@ECID:5 [AIO A1:1] 未识别 , ECV 返回\"-\".@"
        "ECID:6 [SIO S1:1] 未识别 , ECV 返回\"-\".@.ECID:7 [IO:F0:0] IOType:3 未识别 , ECV 返回\"-\".@."
        "ECID:8 [DIO D-:-1] 未识别 , ECV 返回\"-\".@ECID:9 [AIO A-:-1] 未识别 , ECV 返回\"-\".@"));
}

// A pair, and the values of Door, Valve, Flow and Lot afterwards. 1000 is beyond the limits of 0 to 9, which
// refuse nothing; limits 0 and 0 refuse 0 alone.
const char* const accepted = R"(
<U1 0> <U1 255> | 1 255 12.5 L-1 || <U2 0> <U2 65535> | 1 65535 12.5 L-1 || <U4 0> <U4 4294967295> | 1 -1 12.5 L-1
<U8 0> <I1 -128> | 1 -128 12.5 L-1 || <I1 0> <I2 -300> | 1 -300 12.5 L-1 || <I2 0> <I4 -70000> | 1 -70000 12.5 L-1
<I4 0> <A "-12x"> | 1 -12 12.5 L-1 || <I8 0> <A "none"> | 1 0 12.5 L-1 || <A "0"> <I4 1000> | 1 1000 12.5 L-1
<U1 1> <U1 7> | 7 -5 12.5 L-1 || <U2 2> <F4 0.25> | 1 -5 0.25 L-1 || <U2 2> <F8 -1e300> | 1 -5 -1e+300 L-1
<U2 2> <A "7.5 sccm"> | 1 -5 7.5 L-1 || <U2 65> <F8 1.25> | 1 -5 1.25 L-1 || <U2 10> <F8 51> | 1 -5 51 L-1
<U2 261> <A "a new lot"> | 1 -5 12.5 a new lot || <U2 3> <A "-"> | 1 -5 12.5 -
)";

TEST_F(S02Constants, NewValuesAreTakenInTheFormatsOfTheirPoint) {
    for (const fake::Texts& row : fake::rows(accepted, 2)) {
        SCOPED_TRACE(row[0]);
        answer_to(
            "S2F15 W <L <L <U1 1> <U1 9>> <L <U1 1> <U1 1>> <L <U1 0> <I4 -5>> <L <U1 2> <F8 12.5>> <L <U1 "
            "3> <A \"L-1\">>>.");
        EXPECT_EQ(answer_to("S2F15 W <L <L " + row[0] + ">>."), "S2F16 <B 0x00>.");
        EXPECT_EQ(values(), row[1] + " ");
        EXPECT_EQ(fake::driver().log(), fake::Texts{});
    }
    const std::string text(1000, 'x');
    answer_to("S2F15 W <L <L <U1 3> <A \"" + text + "\">>>.");
    EXPECT_EQ(sim::machine().io("Lot"), text);
    answer_to("S2F15 W <L <L <U1 3> <A \"\">>>.");
    EXPECT_EQ(sim::machine().io("Lot"), "");
    const unsigned long long before = writes();
    EXPECT_EQ(answer_to("S2F15 W <L>."), "S2F16 <B 0x00>.");
    EXPECT_EQ(writes(), before);
}

// The pair, its EAC and its log, where N is the pair's place in the list.
const char* const refused = R"(
<L <U2 12> <U1 0>> | 1 | ECID:12 未识别.@ || <L <U4 300> <U1 0>> | 1 | ECID:300 未识别.@
<L <U1 4> <F4 0>> | 1 | ECID:4 [DIO D2:2] IO未识别.@ || <L <U1 8> <U1 0>> | 1 | ECID:8 [DIO D-:-1] IO未识别.@
<L <U1 5> <F4 0>> | 1 | ECID:5 [AIO A1:1] IO未识别. @ || <L <U1 6> <F4 0>> | 1 | ECID:6 [SIO S1:1] IO未识别. @
<L <U1 7> <F4 0>> | 1 | ECID:7 [SIO F0:0] IOType:3 未识别 , 必须是 ASCII. @
<L <U1 1> <U1 0>> | 3 | ECID:1 [DIO Door:0] ECV 值超限 , 定义范围:[0,0]. @
<L <U1 11> <I1 5>> / <L <U1 11> <I1 -5>> | 3 | ECID:11 [DIO Valve:1] ECV 值超限 , 定义范围:[5,-5]. @
<L <U1 10> <A "0">> | 3 | ECID:10 [AIO Flow:0] ECV 值超限 , 定义范围:[50,-50]. @
<L <U1 65> <F4 1.5>> | 3 | ECID:65 [AIO Flow:0] ECV 值超限 , 定义范围:[1.5,1.5]. @
<L <U1 0>> / <L <U1 0> <U1 1> <U1 2>> / <A "01"> | | p_item1[N] 格式错误 , 必须是 L2.@
<L <F4 1> <U1 1>> / <L <L> <U1 1>> | | ECID 格式错误 , 必须是 I()/U()/A.@
<L <U1 0> <F4 1>> / <L <U1 0> <U8 1>> | | ECID:0 [DIO Valve:1] ECV 格式错误 , 必须是 A/I1/I2/I4/U1/U2/U4.@
<L <U1 0> <I8 1>> | | ECID:0 [DIO Valve:1] ECV 格式错误 , 必须是 A/I1/I2/I4/U1/U2/U4.@
<L <U1 2> <I4 1>> | | ECID:2 [AIO Flow:0] ECV 格式错误 , 必须是 A/F4/F8. @
<L <U1 3> <U1 1>> / <L <U1 3> <B 65>> | | ECID:3 [SIO Lot:0] ECV 格式错误 , 必须是 A. @
)";

TEST_F(S02Constants, ARefusedPairLeavesEveryPointAsItWas) {
    const char* const good[] = {" <L <U1 1> <U1 7>>", " <L <U1 2> <F4 1>>", " <L <U1 3> <A \"no\">>"};
    for (const auto& [length, at] : {std::pair{1, 0}, {2, 0}, {2, 1}, {500, 499}})
        for (const fake::Texts& row : fake::rows(refused, 3)) {
            SCOPED_TRACE(std::to_string(at) + " of " + std::to_string(length) + ": " + row[0]);
            std::string message = "S2F15 W <L";
            for (int i = 0; i < length; ++i) message += i == at ? " " + row[0] : good[i % 3];
            EXPECT_EQ(answer_to(message + ">."), row[1].empty() ? "none" : "S2F16 <B 0x0" + row[1] + ">.");
            EXPECT_EQ(log_of("reply_S02F15"), fake::replaced(row[2], "\\[N", "[" + std::to_string(at)));
            EXPECT_EQ(values(), "1 -5 12.5 L-1 ");
        }
    EXPECT_EQ(writes(), 0U);
    try_all("S2F15 W <A \"1\">. | none | 消息头格式错误 , 必须是 L.@");
}

TEST_F(S02Constants, NamelistDescribesOnlyConstantsPastTheirPoints) {
    try_all(R"(
S2F29 W <L <U1 1> <U2 2> <U4 8> <I4 9> <I8 44>>. | S2F30 <L <L> <L> <L> <L> <L>>.
S2F29 W <L <U8 4> <A "5">>. | S2F30 <L <L <U4 4> <A "D2"> <I4 -7> <I4 -2147483648> <I4 0> <A "u4">> <L <U4 5> <A "A1"> <F4 0.5>
    <F4 2.5> <F4 0> <A "u5">>>.
S2F29 W <L <I1 3> <I2 6> <U1 7> <U4 300>>. | S2F30 <L <L> <L> <L> <L>>. | ECID:3 IOType:2 未识别. @ECID:6 IOType:2 未识别.
    @ECID:7 IOType:3 未识别. @ECID:300 未识别. @
S2F29 W <L <U1 1> <F4 2>>. / S2F29 W <L <B 1>>. | none | ECID 格式错误! 必须是 I()/U()/A. @
S2F29 W <U1 1>. | none | 消息头格式错误 , 必须是 L. @
S2F29 W <L>. | S2F30 <L <L> <L> <L> <L> <L <U4 4> <A "D2"> <I4 -7> <I4 -2147483648> <I4 0> <A "u4">> <L <U4 5> <A "A1"> <F4
    0.5> <F4 2.5> <F4 0> <A "u5">> <L> <L> <L> <L> <L> <L> <L> <L> <L>>. | ECID:3 IOType:2 未识别. @ECID:6 IOType:2 未识别.
    @ECID:7 IOType:3 未识别. @ECID:261 IOType:2 未识别. @
)");
}

}  // namespace
