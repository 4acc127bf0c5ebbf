// S2F17, S2F18 and S2F31 on the equipment clock, and the loopback diagnostic both ways.
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <regex>

#include "sml/reader.h"
#include "support/module_fixture.h"
#include "winapi/equipment_clock.h"

namespace {

using namespace Talwen;

class S02Clock : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ::unsetenv("FA_SYSTEM_CLOCK");  // also when root runs this, the machine's clock stays
        ModuleFixture::SetUp();
        set_states(fake::on_line);
        winapi::set_clock_privilege(false);
    }
    void TearDown() override {
        EXPECT_EQ(winapi::open_tokens(), 0);
        sim::set_clock_offset({});
        ModuleFixture::TearDown();
    }
};

// Texts of every length at which another field begins to count; what the clock is asked for; whether it is
// a time. A field below 0 is no time either.
const char* const times = R"(
202 / no time at all | 0000-00-00 00:00:00.000 | no || 2025 | 2025-00-00 00:00:00.000 | no
202511 / 2025113 | 2025-11-00 00:00:00.000 | no || 20251130 | 2025-11-30 00:00:00.000 | yes
2025113022 | 2025-11-30 22:00:00.000 | yes || 202511302233 | 2025-11-30 22:33:00.000 | yes
20250101120000 | 2025-01-01 12:00:00.000 | yes || 202511302233445 | 2025-11-30 22:33:44.000 | yes
2025113022334456 | 2025-11-30 22:33:44.056 | yes || 20251130223344567 / 20251130223344567890 | 2025-11-30 22:33:44.567 | yes
20251130 2 3 4 | 2025-11-30 02:03:04.000 | yes || 20240229000000 | 2024-02-29 00:00:00.000 | yes
20230229000000 | 2023-02-29 00:00:00.000 | no || 20250231000000 | 2025-02-31 00:00:00.000 | no
20251301000000 | 2025-13-01 00:00:00.000 | no || 20250101240000 | 2025-01-01 24:00:00.000 | no
20250101006000 | 2025-01-01 00:60:00.000 | no || 20250101000060 | 2025-01-01 00:00:60.000 | no
16001231 | 1600-12-31 00:00:00.000 | no || 99991231225959999 | 9999-12-31 22:59:59.999 | yes
2025-1-1 | 2025-65535-65535 00:00:00.000 | no
)";

TEST_F(S02Clock, TimesAreReadByPositionAndImpossibleOnesLeaveTheClock) {
    const auto machine_before = std::chrono::system_clock::now();
    SYSTEMTIME start{2031, 5, 0, 6, 7, 8, 9, 0};
    EXPECT_EQ(SetLocalTime(&start), 0) << "not before the right to do so was asked for";
    for (const fake::Texts& row : fake::rows(times, 3))
        for (const bool host_asks : {true, false}) {
            SCOPED_TRACE(row[0]);
            const bool good = row[2] == "yes";
            winapi::set_clock_privilege(true);
            ASSERT_NE(SetLocalTime(&start), 0);
            winapi::set_clock_privilege(false);
            console.clear();
            const std::string message = (host_asks ? "S2F31 W <A \"" : "S2F18 <A \"") + row[0] + "\">.";
            const std::string reply = good ? "S2F32 <B 0x00>." : "S2F32 <B 0x01>.";
            EXPECT_EQ(answer_to(message), host_asks ? reply : good ? "=1" : "=0");
            EXPECT_EQ(sim::calls("SetLocalTime")->arguments, row[1]);
            const std::string day = row[1].substr(0, 4) + row[1].substr(5, 2) + row[1].substr(8, 2);
            EXPECT_EQ(sim::clock_text().substr(0, 8), good ? day : "20310506");
            const char* const refused = host_asks ? "时间设置失败(错误信息:Invalid argument). @"
                                                  : "时间设置失败[错误信息:Invalid argument]. @";
            EXPECT_EQ(log_of(handler_of(message)), good ? "" : refused);
            ASSERT_EQ(console.size(), good ? 1U : 2U);
            EXPECT_TRUE(good || console[1].starts_with("时间设置失败[错误信息:Invalid argument]. ["));
        }
    EXPECT_LT(std::chrono::system_clock::now() - machine_before, std::chrono::hours(1));
    answer_to("S2F31 W <A \"20251130223344567890\">.");
    EXPECT_EQ(console.back(),
              "时间获取: 20251130223344567890   -  nYear:2025 , nMonth:11 , nDay:30 , nHour:22 , nMin:33 , "
              "nSec:44 , nMilSec567.");
}

TEST_F(S02Clock, NoTextAndOtherFormatsSetNothing) {
    try_all(R"(
S2F31 W <A "">. | S2F32 <B 0x01>. | 日期时间字符串异常. @ || S2F31 W <B 1>. / S2F31 W. | none | 消息头格式错误 , 必须是 B. @
S2F18 <A "">. | =0 || S2F18 <L <A "20250101">>. | none | 消息头格式错误 , 必须是 A. @
)");
    EXPECT_EQ(calls("SetLocalTime"), 0U);
    EXPECT_TRUE(console.empty());
}

TEST_F(S02Clock, ARefusedClockIsReportedAndStays) {
    ASSERT_TRUE(sim::set_result("SetLocalTime", 0));
    const std::string before = sim::clock_text();
    try_all(R"(
S2F31 W <A "20990101120000">. | S2F32 <B 0x01>. | 时间设置失败(错误信息:Operation not permitted). @
S2F18 <A "20990101120000">. | =0 | 时间设置失败[错误信息:Operation not permitted]. @
)");
    EXPECT_TRUE(winapi::clock_privilege());
    EXPECT_LT(sim::clock_text(), "2099");
    EXPECT_GE(sim::clock_text(), before);
}

TEST_F(S02Clock, TheTimeGivenIsThatOfTheClockThatWasSet) {
    for (const char* zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30NDT,M3.2.0,M11.1.0"}) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        for (const std::string time : {"20310115100000", "20310715100000"}) {  // winter and summer
            answer_to("S2F31 W <A \"" + time + "\">.");
            const std::regex reply("S2F18 <A \"" + time.substr(0, 12) + "[0-9]{4}\">\\.");
            EXPECT_TRUE(std::regex_match(answer_to("S2F17 W."), reply)) << zone << time;
        }
    }
    ::unsetenv("TZ");
    ::tzset();
}

TEST_F(S02Clock, LoopbackEchoesBytesAndChecksItsOwnPattern) {
    try_all(R"(
S2F25 W <B 0x00 0xFF 0x00 0x41>. | S2F26 <B 0x00 0xFF 0x00 0x41>. || S2F25 W <B>. | S2F26 <B>.
S2F25 W <A "text">. / S2F26 <A "text">. | none | 消息头格式错误 , 必须是 B. @
S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12>. | =1 || S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12 0x00 0x55>. | =1
S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13>. / S2F26 <B>. | =0 | LoopBack Diagnostic 校验错误. @
S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12 0x55>. | =0 | LoopBack Diagnostic 校验错误. @
)");
    const std::string bytes(100000, '\xA5');  // far longer than an item's value area
    fake::driver().host_sends_bytes(2, 25, true, std::string("\x23\x01\x86\xA0", 4) + bytes);
    const sml::Message echo = sml::parse_message(fake::driver().replies());
    ASSERT_TRUE(echo.body);
    EXPECT_EQ(echo.body->bytes, bytes);
}

TEST_F(S02Clock, TheEquipmentsOwnPrimaries) {
    EXPECT_EQ(queued(2, 17, {}), "S2F17 W.");
    EXPECT_EQ(queued(2, 25, {}), "S2F25 W <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12>.");
}

}  // namespace
