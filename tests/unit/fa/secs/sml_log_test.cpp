// The message log to the blank.
#include "fa/secs/sml_log.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "support/module_fixture.h"

namespace {

using namespace Talwen;

class SmlLog : public fake::ModuleFixture {
  protected:
    static std::string logged() {
        const std::vector<std::string> entries = fake::driver().all_log();
        return entries.empty() ? "" : entries.back();
    }
};

TEST_F(SmlLog, HeadsAndMessagesWithoutABody) {
    sim::machine().set_fa("Device_ID", 3);
    fake::driver().host_sends("S1F3 W <L <U4 1001>>.", 12345);
    EXPECT_EQ(fake::driver().all_log().front(),
              "Receive Primary Message                 [12345,3]\n    'S1F3'\n        <L[1]\n"
              "            <U4[1] 1001>\n        >\n.");
    fake::driver().host_sends("S6F12.", 5);
    EXPECT_EQ(logged(), "Receive Secondary Message               [5,3]\n    'S6F12'\n.");
    _SECS_ITEM* empty = SecsCreateItemEmpty();
    QFA_Message_Print_SML(nullptr, 1, 1, empty, 101, 1);
    SecsDeleteItem(empty);
    EXPECT_EQ(logged(), "Send Primary Message                    [101,3]\n    'S1F1'\n.");
    QFA_Message_Print_SML(nullptr, 2, 0, nullptr, 17, 1);
    EXPECT_EQ(logged(), "Send Secondary Message                  [17,3]\n    'S2F0'\n");
}

// A body and its lines after the head; "/" ends a line, the indent that all have is left out.
const char* const bodies = R"(
<L> | <L[0]/>/. || <L <L <B 1>> <A "x"> <L>> | <L[3]/    <L[1]/        <B[1] 1>/    >/    <A[1] "x">/    <L[0]/    >/>/.
<B 1 255 200> | <B[3] 1 -1 -56>/. || <B> | <B[0]>/. || <BOOLEAN F> | <Bool[1] False>/. || <BOOLEAN 7> | <Bool[1] True>/.
<L <A ""> <A "中文"> <J "jis">> | <L[3]/    <A[0] "">/    <A[6] "中文">/    <A[3] "jis">/>/.
<L <I1 -128> <I2 -32768>> | <L[2]/    <I1[1] -128>/    <I2[1] -32768>/>/.
<L <U1 200> <U2 65535>> | <L[2]/    <U1[1] 200>/    <U2[1] 65535>/>/.
<L <I4 -2147483648> <U4 4294967295>> | <L[2]/    <I4[1] -2147483648>/    <U4[1] 4294967295>/>/.
<I8 -9223372036854775808> | <I8[1] -9223372036854775808>/. || <U8 18446744073709551615> | <U8[1] 18446744073709551615>/.
<L <F4 0.1> <F8 1234567>> | <L[2]/    <F4[1] 0.1>/    <F8[1] 1.23457e+06>/>/.
<L <F8 -1e-07> <F8 inf>> | <L[2]/    <F8[1] -1e-07>/    <F8[1] inf>/>/.
<L <U4 7 8 9> <U4>> | <L[2]/    <U4[1] 7>/    <U4[1] 0>/>/.
)";

TEST_F(SmlLog, EveryFormat) {
    for (const fake::Texts& row : fake::rows(bodies, 2)) {
        fake::driver().host_sends("S6F12 " + row[0] + ".", 9);
        const std::string body = fake::replaced("/" + row[1], "/(?!\\.)", "\n        ");
        EXPECT_EQ(logged(), "Receive Secondary Message               [9,0]\n    'S6F12'" +
                                fake::replaced(body, "/", "\n"));
    }
}

// The quick way for plain numbers against printf, over edges and many numbers of every size.
TEST_F(SmlLog, RealsAreWrittenAsPrintfWritesThem) {
    std::vector<double> values = {0.0,      -0.0,     0.1,      0.001,    0.000999999, 0.0010000005, 999999.4,
                                  999999.5, 999998.5, 99999.95, 9.999995, 123457.5,    1234565,      100000,
                                  1e6,      -273.15,  300,      0.62F,    1e300,       1.0000005,    5e-324};
    std::mt19937_64 random(7);
    for (int i = 0; i < 200000; ++i) {
        values.push_back(
            std::ldexp(static_cast<double>(random() >> 11U), static_cast<int>(random() % 90) - 83));
        values.push_back(static_cast<double>(random() % 2000000000) / 1000.0 /
                         static_cast<double>(random() % 999 + 1));
    }
    _SECS_ITEM item;
    SecsInitItem(&item);
    item.format = SECS_FORMAT_F8;
    for (const double value : values) {
        std::memcpy(item.value, &value, sizeof value);
        std::string text;
        Item_Dump(nullptr, 6, 12, &item, 1, 1, 2, text);
        char expected[64];
        std::snprintf(expected, sizeof expected, "        <F8[1] %g>\n.", value);
        ASSERT_EQ(text, expected);
    }
}

TEST_F(SmlLog, TextsAndBytesLongerThanTheValueAreaAreWhole) {
    const std::string text(3000, 'x');
    fake::driver().host_sends("S6F12 <A \"" + text + "\">.", 9);
    EXPECT_NE(logged().find("<A[3000] \"" + text + "\">"), std::string::npos);
    fake::driver().host_sends_bytes(6, 12, false, std::string("\x22\x01\x2C", 3) + std::string(300, '\2'));
    std::string twos;
    for (int i = 0; i < 300; ++i) twos += " 2";
    EXPECT_NE(logged().find("<B[300]" + twos + ">"), std::string::npos);
}

}  // namespace
