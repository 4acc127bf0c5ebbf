// S2F17, S2F18 and S2F31 on the equipment clock, and the loopback diagnostic both ways.
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "hsms/driver/secs_item_codec.h"
#include "support/module_fixture.h"
#include "winapi/winapi.h"

namespace {

using namespace Talwen;
using Lines = std::vector<std::string>;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

struct Case {
    const char* message;
    unsigned long result;
    const char* reply;
    Lines log;
};

class S02Clock : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ::unsetenv("FA_SYSTEM_CLOCK");  // whoever runs this: the machine's clock stays
        ModuleFixture::SetUp();
        sim::machine().set_gem("Comm_Enable", 1);
        sim::machine().set_gem("Online_Status", 1);
    }
    void TearDown() override {
        sim::set_clock_offset({});
        ModuleFixture::TearDown();
    }

    static unsigned long host_sends(const std::string& message) {
        fake::driver().reset();
        return fake::driver().host_sends(message);
    }

    /// Lines up to the code line, which tests do not pin to a number.
    static Lines before_code_line(Lines lines) {
        for (std::string& line : lines) line.resize(std::min(line.find("[代码行:"), line.size()));
        return lines;
    }
    static Lines log() { return before_code_line(fake::driver().log()); }

    template <std::size_t Count>
    static void try_all(const Case (&cases)[Count]) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.message);
            EXPECT_EQ(host_sends(c.message), c.result);
            EXPECT_EQ(fake::driver().replies(), c.reply);
            EXPECT_EQ(log(), c.log);
        }
    }
};

/// Texts of every length at which another field begins to count; `set` is what the clock is asked for.
struct Time_Case {
    std::string time;
    std::string set;
    bool accepted;
};
const Time_Case time_cases[] = {
    {"202", "0000-00-00 00:00:00.000", false},
    {"2025", "2025-00-00 00:00:00.000", false},
    {"202511", "2025-11-00 00:00:00.000", false},
    {"2025113", "2025-11-00 00:00:00.000", false},
    {"20251130", "2025-11-30 00:00:00.000", true},
    {"2025113022", "2025-11-30 22:00:00.000", true},
    {"202511302233", "2025-11-30 22:33:00.000", true},
    {"20250101120000", "2025-01-01 12:00:00.000", true},
    {"202511302233445", "2025-11-30 22:33:44.000", true},
    {"2025113022334456", "2025-11-30 22:33:44.056", true},
    {"20251130223344567", "2025-11-30 22:33:44.567", true},
    {"20251130223344567890", "2025-11-30 22:33:44.567", true},
    {"20251130 2 3 4", "2025-11-30 02:03:04.000", true},
    {"20240229000000", "2024-02-29 00:00:00.000", true},
    {"20230229000000", "2023-02-29 00:00:00.000", false},
    {"20250231000000", "2025-02-31 00:00:00.000", false},
    {"20251301000000", "2025-13-01 00:00:00.000", false},
    {"20250101240000", "2025-01-01 24:00:00.000", false},
    {"20250101006000", "2025-01-01 00:60:00.000", false},
    {"20250101000060", "2025-01-01 00:00:60.000", false},
    {"16001231", "1600-12-31 00:00:00.000", false},
    {"99991231225959999", "9999-12-31 22:59:59.999", true},
    {"no time at all", "0000-00-00 00:00:00.000", false},
    {"2025-1-1", "2025-65535-65535 00:00:00.000", false},  // a field below 0 is no time either
};

TEST_F(S02Clock, TimesAreReadByPositionAndImpossibleOnesLeaveTheClock) {
    const auto machine_before = std::chrono::system_clock::now();
    for (const bool host_asks : {true, false}) {
        for (const Time_Case& c : time_cases) {
            SCOPED_TRACE(c.time);
            SYSTEMTIME start{2031, 5, 0, 6, 7, 8, 9, 0};
            ASSERT_NE(SetLocalTime(&start), 0);
            console.clear();
            const unsigned long result =
                host_sends((host_asks ? "S2F31 W <A \"" : "S2F18 <A \"") + c.time + "\">.");
            EXPECT_EQ(sim::calls("SetLocalTime")->arguments, c.set);
            EXPECT_EQ(result, host_asks ? 7000UL : c.accepted ? 1UL : 0UL);
            EXPECT_EQ(fake::driver().replies(), !host_asks   ? ""
                                                : c.accepted ? "S2F32 <B 0x00>."
                                                             : "S2F32 <B 0x01>.");
            const Lines shown = before_code_line(console);
            if (c.accepted) {
                const std::string date = c.set.substr(0, 4) + c.set.substr(5, 2) + c.set.substr(8, 2);
                EXPECT_EQ(sim::clock_text().substr(0, 8), date);
                EXPECT_EQ(log(), Lines{});
                EXPECT_EQ(shown.size(), 1U);
            } else {
                EXPECT_EQ(sim::clock_text().substr(0, 8), "20310506");
                EXPECT_EQ(log(), Lines{host_asks ? "时间设置失败(错误信息:Invalid argument). "
                                                 : "时间设置失败[错误信息:Invalid argument]. "});
                ASSERT_EQ(shown.size(), 2U);
                EXPECT_EQ(shown.back(), "时间设置失败[错误信息:Invalid argument]. ");
            }
        }
    }
    EXPECT_LT(std::chrono::system_clock::now() - machine_before, std::chrono::hours(1));
}

TEST_F(S02Clock, TheFieldsReadAreShownOnTheConsole) {
    host_sends("S2F31 W <A \"20251130223344567890\">.");
    EXPECT_EQ(console,
              Lines{"时间获取: 20251130223344567890   -  nYear:2025 , nMonth:11 , nDay:30 , nHour:22 , "
                    "nMin:33 , nSec:44 , nMilSec567."});
}

TEST_F(S02Clock, NoTextAndOtherFormatsSetNothing) {
    const Case cases[] = {
        {"S2F31 W <A \"\">.", 7000, "S2F32 <B 0x01>.", {"日期时间字符串异常. "}},
        {"S2F31 W <B 1>.", format_error, "", {"消息头格式错误 , 必须是 B. "}},
        {"S2F31 W.", format_error, "", {"消息头格式错误 , 必须是 B. "}},
        {"S2F18 <A \"\">.", 0, "", {}},
        {"S2F18 <L <A \"20250101\">>.", format_error, "", {"消息头格式错误 , 必须是 A. "}},
    };
    try_all(cases);
    EXPECT_EQ(calls("SetLocalTime"), 0U);
    EXPECT_EQ(console, Lines{});
}

TEST_F(S02Clock, ARefusedClockIsReportedAndStays) {
    ASSERT_TRUE(sim::set_result("SetLocalTime", 0));
    const std::string before = sim::clock_text();
    host_sends("S2F31 W <A \"20990101120000\">.");
    EXPECT_EQ(fake::driver().replies(), "S2F32 <B 0x01>.");
    EXPECT_EQ(log(), Lines{"时间设置失败(错误信息:Operation not permitted). "});
    EXPECT_EQ(host_sends("S2F18 <A \"20990101120000\">."), 0U);
    EXPECT_EQ(log(), Lines{"时间设置失败[错误信息:Operation not permitted]. "});
    EXPECT_NE(fake::driver().log().back().find("[代码行:Talwen::BC_FA::recv_S02F18:"), std::string::npos);
    EXPECT_LT(sim::clock_text(), "2099");
    EXPECT_GE(sim::clock_text(), before);
}

TEST_F(S02Clock, TheTimeGivenIsThatOfTheClockThatWasSet) {
    for (const char* zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30NDT,M3.2.0,M11.1.0"}) {
        SCOPED_TRACE(zone);
        ::setenv("TZ", zone, 1);
        ::tzset();
        for (const std::string time : {"20310115100000", "20310715100000"}) {  // winter and summer
            host_sends("S2F31 W <A \"" + time + "\">.");
            host_sends("S2F17 W.");
            const std::string reply = fake::driver().replies();
            EXPECT_EQ(reply.substr(0, 22), "S2F18 <A \"" + time.substr(0, 12)) << reply;
            EXPECT_EQ(reply.size(), std::string("S2F18 <A \"YYYYMMDDhhmmsscc\">.").size()) << reply;
        }
    }
    ::unsetenv("TZ");
    ::tzset();
}

TEST_F(S02Clock, LoopbackEchoesBytesAndChecksItsOwnPattern) {
    const Case cases[] = {
        {"S2F25 W <B 0x00 0xFF 0x00 0x41>.", 7000, "S2F26 <B 0x00 0xFF 0x00 0x41>.", {}},
        {"S2F25 W <B>.", 7000, "S2F26 <B>.", {}},
        {"S2F25 W <A \"text\">.", format_error, "", {"消息头格式错误 , 必须是 B. "}},
        {"S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12>.", 1, "", {}},
        {"S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12 0x00 0x55>.", 1, "", {}},  // text ends at 0
        {"S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13>.", 0, "", {"LoopBack Diagnostic 校验错误. "}},
        {"S2F26 <B 0x16 0xAB 0xFF 0x1F 0x2F 0xAC 0x13 0x12 0x55>.",
         0,
         "",
         {"LoopBack Diagnostic 校验错误. "}},
        {"S2F26 <B>.", 0, "", {"LoopBack Diagnostic 校验错误. "}},
        {"S2F26 <A \"text\">.", format_error, "", {"消息头格式错误 , 必须是 B. "}},
    };
    try_all(cases);
    const std::string bytes(100000, '\xA5');  // far longer than an item's value area
    fake::driver().host_sends_bytes(2, 25, true, std::string("\x23\x01\x86\xA0", 4) + bytes);
    const sml::Message echo = sml::parse_message(fake::driver().replies());
    ASSERT_TRUE(echo.body);
    EXPECT_EQ(echo.body->bytes, bytes);
}

TEST_F(S02Clock, TheEquipmentsOwnPrimaries) {
    const auto body = [](_SECS_ITEM* item) {
        std::string bytes;
        EXPECT_TRUE(hsms::encode_secs_item(*item, bytes));
        SecsDeleteItem(item);
        return bytes;
    };
    EXPECT_EQ(body(module->send_S02F17(nullptr, nullptr)), "");
    EXPECT_EQ(body(module->send_S02F25(nullptr, nullptr)), "\x21\x08\x16\xAB\xFF\x1F\x2F\xAC\x13\x12");
}

}  // namespace
