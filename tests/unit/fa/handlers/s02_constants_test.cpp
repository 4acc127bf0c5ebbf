// S2F13, S2F15 and S2F29 through the receive dispatcher.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;
using Lines = std::vector<std::string>;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

const char* const points = R"(
[[digital]]
name = "Door"
value = 1
[[digital]]
name = "Valve"
value = -5
[[analog]]
name = "Flow"
value = 12.5
[[string]]
name = "Lot"
value = "L-1"
)";

struct Constant {
    int ecid;
    IO_TYPE type;
    int point;
    double min, max;
    const char* name;
};
const Constant constants[] = {
    {0, IO_DIGITAL, 1, 0, 9, "Valve"},   {1, IO_DIGITAL, 0, 0, 0, "Door"},
    {2, IO_ANALOG, 0, 0, 100, "Flow"},   {3, IO_STRING, 0, 0, 0, "Lot"},
    {4, IO_DIGITAL, 2, -7.9, 5e9, "D2"}, {5, IO_ANALOG, 1, 0.5, 2.5, "A1"},
    {6, IO_STRING, 1, 0, 0, "S1"},       {7, IO_FUNCTION, 0, 0, 0, "F0"},
    {8, IO_DIGITAL, -1, 0, 0, "D-"},     {9, IO_ANALOG, -1, 0, 0, "A-"},
    {10, IO_ANALOG, 0, 50, -50, "Flow"}, {11, IO_DIGITAL, 1, 5, -5, "Valve"},
    {44, IO_DIGITAL, 1, 0, 9, "Valve"},  {65, IO_ANALOG, 0, 1.5, 1.5, "Flow"},
    {261, IO_STRING, 0, 0, 0, "Lot"},
};

struct Case {
    const char* message;
    const char* reply;  // "" for a format error
    Lines log;
};

class S02Constants : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points);
        sim::machine().set_gem("Comm_Enable", 1);
        sim::machine().set_gem("Online_Status", 1);
        for (const Constant& c : constants) {
            ECID_STRU record;
            record.id = c.ecid;
            record.io_type = c.type;
            record.point = c.point;
            record.min = c.min;
            record.max = c.max;
            record.sv_name = c.name;
            record.unit = "u" + std::to_string(c.ecid);
            record.format = SECS_FORMAT_U1;  // plays no part in any of the three
            ECID_List[c.ecid] = record;
        }
    }

    static unsigned long host_sends(const std::string& message) {
        fake::driver().reset();
        return fake::driver().host_sends(message);
    }

    /// Log lines without the handler and number of the code line; its end, if any, stays.
    static Lines log() {
        Lines lines = fake::driver().log();
        for (std::string& line : lines) {
            const std::size_t code = line.find("[代码行:Talwen::BC_FA::reply_S02F");
            const std::size_t end = line.find(']', code);
            EXPECT_NE(code, std::string::npos) << line;
            if (end != std::string::npos) line.erase(code, end + 1 - code);
        }
        return lines;
    }

    template <std::size_t Count>
    static void try_all(const Case (&cases)[Count]) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.message);
            EXPECT_EQ(host_sends(c.message), *c.reply != '\0' ? 7000UL : format_error);
            EXPECT_EQ(fake::driver().replies(), c.reply);
            EXPECT_EQ(log(), c.log);
        }
    }

    static std::string values() {
        std::string joined;
        for (const char* name : {"Door", "Valve", "Flow", "Lot"}) joined += " " + sim::machine().io(name);
        return joined;
    }
    static unsigned long long writes() {
        return calls("QDigital_Write") + calls("QAnalog_Write") + calls("QString_Write");
    }
};

TEST_F(S02Constants, RequestedValuesAndTheNumbersTheyAreAskedBy) {
    const Case cases[] = {
        {"S2F13 W <L <U1 1> <U1 0> <U1 2> <U1 3> <U1 1>>.",
         "S2F14 <L <I4 1> <I4 -5> <F4 12.5> <A \"L-1\"> <I4 1>>.",
         {}},
        // one byte of any format, two of U1
        {"S2F13 W <L <U4 300> <U2 258> <I8 -253> <A \"Alarm\"> <U1 5 1> <B 2 9> <BOOLEAN T> <F8 1> <L> <A "
         "\"\">>.",
         "S2F14 <L <I4 -5> <F4 12.5> <A \"L-1\"> <F4 12.5> <A \"L-1\"> <F4 12.5> <I4 1> <I4 -5> <I4 -5> <I4 "
         "-5>>.",
         {}},
        {"S2F13 W <L <U1 12> <U4 1234567> <U1 0 255>>.",
         "S2F14 <L <A \"-\"> <A \"-\"> <A \"-\">>.",
         {"ECID:12 未识别.", "ECID:135 未识别.", "ECID:65280 未识别."}},
        {"S2F13 W <L <U1 4> <U1 5> <U1 6> <U1 7> <U1 8> <U1 9>>.",
         "S2F14 <L <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\">>.",
         {"ECID:4 [DIO D2:2] 未识别 , ECV 返回\"-\".", "ECID:5 [AIO A1:1] 未识别 , ECV 返回\"-\".",
          "ECID:6 [SIO S1:1] 未识别 , ECV 返回\"-\"..", "ECID:7 [IO:F0:0] IOType:3 未识别 , ECV 返回\"-\"..",
          "ECID:8 [DIO D-:-1] 未识别 , ECV 返回\"-\".", "ECID:9 [AIO A-:-1] 未识别 , ECV 返回\"-\"."}},
        {"S2F13 W <U1 1>.", "", {"消息头格式错误 , 必须是 L."}},
        {"S2F13 W.", "", {"消息头格式错误 , 必须是 L."}},
    };
    try_all(cases);
    host_sends("S2F13 W <L>.");
    EXPECT_EQ(
        fake::driver().replies(),
        "S2F14 <L <I4 -5> <I4 1> <F4 12.5> <A \"L-1\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> <A \"-\"> "
        "<A \"-\"> <F4 12.5> <I4 -5> <I4 -5> <F4 12.5> <A \"L-1\">>.");
}

TEST_F(S02Constants, NewValuesAreTakenInTheFormatsOfTheirPoint) {
    struct Accepted {
        const char* pair;
        const char* values;  // of Door, Valve, Flow and Lot afterwards
    };
    const Accepted accepted[] = {
        {"<U1 0> <U1 255>", " 1 255 12.5 L-1"},       {"<U2 0> <U2 65535>", " 1 65535 12.5 L-1"},
        {"<U4 0> <U4 4294967295>", " 1 -1 12.5 L-1"}, {"<U8 0> <I1 -128>", " 1 -128 12.5 L-1"},
        {"<I1 0> <I2 -300>", " 1 -300 12.5 L-1"},     {"<I2 0> <I4 -70000>", " 1 -70000 12.5 L-1"},
        {"<I4 0> <A \"-12x\">", " 1 -12 12.5 L-1"},   {"<I8 0> <A \"none\">", " 1 0 12.5 L-1"},
        {"<A \"0\"> <I4 1000>", " 1 1000 12.5 L-1"},  // beyond the limits of 0 to 9: not refused
        {"<U1 1> <U1 7>", " 7 -5 12.5 L-1"},          // limits 0 and 0 refuse 0 alone
        {"<U2 2> <F4 0.25>", " 1 -5 0.25 L-1"},       {"<U2 2> <F8 -1e300>", " 1 -5 -1e+300 L-1"},
        {"<U2 2> <A \"7.5 sccm\">", " 1 -5 7.5 L-1"}, {"<U2 65> <F8 1.25>", " 1 -5 1.25 L-1"},
        {"<U2 10> <F8 51>", " 1 -5 51 L-1"},          {"<U2 261> <A \"a new lot\">", " 1 -5 12.5 a new lot"},
        {"<U2 3> <A \"\">", " 1 -5 12.5 "},
    };
    for (const Accepted& c : accepted) {
        SCOPED_TRACE(c.pair);
        sim::machine().set_io("Door", 1);
        sim::machine().set_io("Valve", -5);
        sim::machine().set_io("Flow", 12.5);
        sim::machine().set_io("Lot", "L-1");
        EXPECT_EQ(host_sends("S2F15 W <L <L " + std::string(c.pair) + ">>."), 7000U);
        EXPECT_EQ(fake::driver().replies(), "S2F16 <B 0x00>.");
        EXPECT_EQ(values(), c.values);
        EXPECT_EQ(log(), Lines{});
    }
    const std::string text(1000, 'x');
    host_sends("S2F15 W <L <L <U1 3> <A \"" + text + "\">>>.");
    EXPECT_EQ(sim::machine().io("Lot"), text);
    const unsigned long long before = writes();
    host_sends("S2F15 W <L>.");
    EXPECT_EQ(fake::driver().replies(), "S2F16 <B 0x00>.");
    EXPECT_EQ(writes(), before);
}

TEST_F(S02Constants, ARefusedPairLeavesEveryPointAsItWas) {
    // The pair, its EAC and its log, where N stands for the pair's place in the list.
    const Case cases[] = {
        {"<L <U2 12> <U1 0>>", "0x01", {"ECID:12 未识别."}},
        {"<L <U4 300> <U1 0>>", "0x01", {"ECID:300 未识别."}},
        {"<L <U1 4> <F4 0>>", "0x01", {"ECID:4 [DIO D2:2] IO未识别."}},
        {"<L <U1 8> <U1 0>>", "0x01", {"ECID:8 [DIO D-:-1] IO未识别."}},
        {"<L <U1 5> <F4 0>>", "0x01", {"ECID:5 [AIO A1:1] IO未识别. "}},
        {"<L <U1 6> <F4 0>>", "0x01", {"ECID:6 [SIO S1:1] IO未识别. "}},
        {"<L <U1 7> <F4 0>>", "0x01", {"ECID:7 [SIO F0:0] IOType:3 未识别 , 必须是 ASCII. "}},
        {"<L <U1 1> <U1 0>>", "0x03", {"ECID:1 [DIO Door:0] ECV 值超限 , 定义范围:[0,0]. "}},
        {"<L <U1 11> <I1 5>>", "0x03", {"ECID:11 [DIO Valve:1] ECV 值超限 , 定义范围:[5,-5]. "}},
        {"<L <U1 11> <I1 -5>>", "0x03", {"ECID:11 [DIO Valve:1] ECV 值超限 , 定义范围:[5,-5]. "}},
        {"<L <U1 10> <A \"0\">>", "0x03", {"ECID:10 [AIO Flow:0] ECV 值超限 , 定义范围:[50,-50]. "}},
        {"<L <U1 65> <F4 1.5>>", "0x03", {"ECID:65 [AIO Flow:0] ECV 值超限 , 定义范围:[1.5,1.5]. "}},
        {"<L <U1 0>>", "", {"p_item1[N] 格式错误 , 必须是 L2."}},
        {"<L <U1 0> <U1 1> <U1 2>>", "", {"p_item1[N] 格式错误 , 必须是 L2."}},
        {"<A \"01\">", "", {"p_item1[N] 格式错误 , 必须是 L2."}},
        {"<L <F4 1> <U1 1>>", "", {"ECID 格式错误 , 必须是 I()/U()/A."}},
        {"<L <L> <U1 1>>", "", {"ECID 格式错误 , 必须是 I()/U()/A."}},
        {"<L <U1 0> <F4 1>>", "", {"ECID:0 [DIO Valve:1] ECV 格式错误 , 必须是 A/I1/I2/I4/U1/U2/U4."}},
        {"<L <U1 0> <U8 1>>", "", {"ECID:0 [DIO Valve:1] ECV 格式错误 , 必须是 A/I1/I2/I4/U1/U2/U4."}},
        {"<L <U1 0> <I8 1>>", "", {"ECID:0 [DIO Valve:1] ECV 格式错误 , 必须是 A/I1/I2/I4/U1/U2/U4."}},
        {"<L <U1 2> <I4 1>>", "", {"ECID:2 [AIO Flow:0] ECV 格式错误 , 必须是 A/F4/F8. "}},
        {"<L <U1 3> <U1 1>>", "", {"ECID:3 [SIO Lot:0] ECV 格式错误 , 必须是 A. "}},
        {"<L <U1 3> <B 65>>", "", {"ECID:3 [SIO Lot:0] ECV 格式错误 , 必须是 A. "}},
    };
    const std::string good[] = {" <L <U1 1> <U1 7>>", " <L <U1 2> <F4 1>>", " <L <U1 3> <A \"no\">>"};
    for (const int length : {1, 2, 500}) {
        for (const int at : {0, length - 1}) {
            for (const Case& c : cases) {
                SCOPED_TRACE(std::to_string(at) + " of " + std::to_string(length) + ": " + c.message);
                std::string message = "S2F15 W <L";
                for (int i = 0; i < length; ++i)
                    message += i == at ? " " + std::string(c.message) : good[i % 3];
                EXPECT_EQ(host_sends(message + ">."), *c.reply != '\0' ? 7000UL : format_error);
                EXPECT_EQ(fake::driver().replies(),
                          *c.reply != '\0' ? "S2F16 <B " + std::string(c.reply) + ">." : "");
                Lines wanted = c.log;
                if (const std::size_t n = wanted[0].find("[N]"); n != std::string::npos)
                    wanted[0].replace(n + 1, 1, std::to_string(at));
                EXPECT_EQ(log(), wanted);
                EXPECT_EQ(values(), " 1 -5 12.5 L-1");
            }
        }
    }
    EXPECT_EQ(writes(), 0U);
    EXPECT_EQ(host_sends("S2F15 W <A \"1\">."), format_error);
    EXPECT_EQ(log(), Lines{"消息头格式错误 , 必须是 L."});
}

TEST_F(S02Constants, FiveHundredPairsAreWrittenInTheirOrder) {
    std::string message = "S2F15 W <L";
    for (int i = 1; i <= 498; ++i) message += " <L <U2 1> <I4 " + std::to_string(i) + ">>";
    host_sends(message + " <L <U1 2> <F8 498.5>> <L <U1 3> <A \"last\">>>.");
    EXPECT_EQ(fake::driver().replies(), "S2F16 <B 0x00>.");
    EXPECT_EQ(values(), " 498 -5 498.5 last");
    EXPECT_EQ(writes(), 500U);
}

TEST_F(S02Constants, NamelistDescribesOnlyConstantsPastTheirPoints) {
    const Case cases[] = {
        {"S2F29 W <L <U1 1> <U2 2> <U4 8> <I4 9> <I8 44>>.", "S2F30 <L <L> <L> <L> <L> <L>>.", {}},
        {"S2F29 W <L <U8 4> <A \"5\">>.",
         "S2F30 <L <L <U4 4> <A \"D2\"> <I4 -7> <I4 -2147483648> <I4 0> <A \"u4\">> "
         "<L <U4 5> <A \"A1\"> <F4 0.5> <F4 2.5> <F4 0> <A \"u5\">>>.",
         {}},
        {"S2F29 W <L <I1 3> <I2 6> <U1 7> <U4 300>>.",
         "S2F30 <L <L> <L> <L> <L>>.",
         {"ECID:3 IOType:2 未识别. ", "ECID:6 IOType:2 未识别. ", "ECID:7 IOType:3 未识别. ",
          "ECID:300 未识别. "}},
        {"S2F29 W <L <U1 1> <F4 2>>.", "", {"ECID 格式错误! 必须是 I()/U()/A. "}},
        {"S2F29 W <L <B 1>>.", "", {"ECID 格式错误! 必须是 I()/U()/A. "}},
        {"S2F29 W <U1 1>.", "", {"消息头格式错误 , 必须是 L. "}},
    };
    try_all(cases);
    host_sends("S2F29 W <L>.");
    const sml::Message every = sml::parse_message(fake::driver().replies());
    ASSERT_TRUE(every.body);
    ASSERT_EQ(every.body->children.size(), std::size(constants));
    for (std::size_t i = 0; i < std::size(constants); ++i)
        EXPECT_EQ(every.body->children[i].children.size(), i == 4 || i == 5 ? 6U : 0U) << i;
}

}  // namespace
