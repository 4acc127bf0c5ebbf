// Stream 6: what each builder and each request makes of a variable, unknown numbers, texts of the log,
// acknowledges.
#include <algorithm>
#include <iterator>
#include <sstream>

#include "fa/framework/qstr.h"
#include "fa/secs/message_queue.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;
using Texts = std::vector<std::string>;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

/// Four digital points, two analog (fewer than digital), six string (more).
std::string points() {
    std::string toml;
    int number = 0;
    for (const char* point :
         {"digital 7", "digital -2", "digital 0", "digital 0", "analog 0.75", "analog -12.5", "string 'L-1'",
          "string ''", "string ''", "string ''", "string 'hidden'", "string ''"})
        toml += "[[" + QStr_Left(point, ' ') + "]]\nvalue = " + QStr_Right(point, ' ') + "\nname = 'P" +
                std::to_string(number++) + "'\n";
    return toml;
}
const char* const lot = "P6";  // the first string point

class S06 : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points());
        set_states("Comm_Enable=1 Online_Status=1");
    }

    void TearDown() override {
        QFA_Message_Clear();
        ModuleFixture::TearDown();
    }

    /// Variable `id` as report and as status variable, named "V" with its number behind.
    static void define_variable(int id, IO_TYPE type, unsigned char format, int point) {
        VARIABLE_STRU record;
        record.id = id;
        record.io_type = type;
        record.format = format;
        record.point = point;
        record.sv_name = "V" + std::to_string(id);
        RVID_List[id] = RVID_STRU{record};
        SVID_List[id] = SVID_STRU{record};
    }

    /// Event 12 of report 3, and of others that are not there; trace 9 of the same variables.
    static void define(bool enable, std::vector<int> variables, std::vector<int> other_reports = {}) {
        RPTID_STRU report{1, 3, "", variables};
        RPTID_List.append(report);
        CEID_STRU event{77, 12, enable, "", "", {3}};
        event.LINKRPTID.insert(event.LINKRPTID.end(), other_reports.begin(), other_reports.end());
        CEID_List.append(event);
        TRID_STRU trace;
        trace.TRID = 9;
        trace.LINKSVID = std::move(variables);
        TRID_List.append_or_replace(trace);
    }

    /// The primary that is queued for these parameters, "" for none.
    static std::string queue(unsigned char function, Texts params) {
        fake::driver().reset();
        params.resize(5);
        if (!QFA_Message_PushBack(6, function, &params[0], &params[1], &params[2], &params[3], &params[4])) {
            EXPECT_EQ(QFA_Message_Queue_Length(), 0U);
            return "";
        }
        FA_Message entry;
        EXPECT_TRUE(QFA_Message_PopFront(&entry));
        QFA_Message_Send(nullptr, &entry);
        QFA_Message_RemoveFront();
        return fake::driver().sent().back().sml;
    }

    static std::string ask(const std::string& request) {
        fake::driver().reset();
        const unsigned long result = fake::driver().host_sends(request);
        const std::string reply = fake::driver().replies();
        EXPECT_EQ(result, reply.empty() ? format_error : 1UL);
        return reply;
    }

    static std::string list(const std::string& items) {
        std::string text = "<L";
        if (!items.empty()) text.append(" ").append(items);
        return text + ">";
    }

    /// Log lines without the line numbers: "text [代码行:function".
    static Texts log() {
        Texts lines = fake::driver().log();
        for (std::string& line : lines) {
            const std::size_t colon = line.rfind(':');
            EXPECT_TRUE(line.ends_with("]") && colon + 1 < line.size() && std::isdigit(line[colon + 1]))
                << line;
            line.resize(std::min(colon, line.size()));
        }
        return lines;
    }

    /// The log lines that a handler should have written.
    static Texts by(const std::string& handler, Texts texts) {
        for (std::string& text : texts) text += " [代码行:Talwen::BC_FA::" + handler;
        return texts;
    }
};

// What a variable of an IO type, format byte and point index is in each message: S6F3, S6F9 and S6F13;
// S6F11; the answers S6F16, S6F18, S6F20 and S6F22 and their log; S6F1. "-" is the dash item, "" no item.
const char* const values = R"(
0   0  0 | <I4 7>    | <L>             | <I4 7>          | <I4 7>          |
0  32  0 | <I4 7>    | -               | <I4 7>          | <I4 7>          |
0  64  0 | <I4 7>    | <A "L-1">       | <I4 7>          | <I4 7>          |
0  96  1 | <I4 -2>   | -               | <I8 -2>         | <I8 -2>         |
0 100  1 | <I4 -2>   | -               | <I1 -2>         | <I1 -2>         |
0 104  1 | <I4 -2>   | -               | <I2 -2>         | <I2 -2>         |
0 112  1 | <I4 -2>   | <I4 -2>         | <I4 -2>         | <I4 -2>         |
0 128  1 | <I4 -2>   | <F8 -12.5>      | <I4 -2>         | <I4 -2>         |
0 144  1 | <I4 -2>   | <F4 -12.5>      | <I4 -2>         | <I4 -2>         |
0 160  0 | <I4 7>    | -               | <U8 7>          | <U8 7>          |
0 164  1 | <I4 -2>   | <U1 254>        | <U1 254>        | <U1 254>        |
0 168  1 | <I4 -2>   | <U2 65534>      | <U2 65534>      | <U2 65534>      |
0 176  1 | <I4 -2>   | <U4 4294967294> | <U4 4294967294> | <U4 4294967294> |
0 164 -1 | <I4 0>    | <U1 0>          | -               | <U1 0>          | RVID [DIO:-1] 数值超限 , 必须是 [0,3].
0 112  4 | <I4 0>    | <I4 0>          | -               | <I4 0>          | RVID [DIO:4] 数值超限 , 必须是 [0,3].
1 144  0 | <F4 0.75> | <F4 0.75>       | <F4 0.75>       | <F4 0.75>       |
1 128  1 | <F4 -12.5>| <F8 -12.5>      | <F8 -12.5>      | <F8 -12.5>      |
1 104  1 | <F4 -12.5>| -               | <F8 -12.5>      | <F8 -12.5>      |
1 176  0 | <F4 0.75> | <U4 7>          | <F8 0.75>       | <F8 0.75>       |
1 144  3 | <F4 0>    | <F4 0>          | <F4 0>          | <F4 0>          |
1 144  4 | <F4 0>    | <F4 0>          | -               | <F4 0>          | RVID [AIO:4] 数值超限 , 必须是 [0,1].
2  64  0 | <A "L-1"> | <A "L-1">       | <A "L-1">       | <A "L-1">       |
2   0  1 | <A "">    | <L>             | <L>             | <A "">          |
2 164  0 | <A "L-1"> | <U1 7>          |                 | <A "L-1">       |
2  64  4 | <A "hidden"> | <A "hidden"> | -               | <A "hidden">    | RVID [SIO:4] 数值超限 , 必须是 [0,5].
2   0 -1 | <A "">    | <L>             | -               | <A "">          | RVID [SIO:-1] 数值超限 , 必须是 [0,5].
3 176  0 | -         | <U4 7>          | -               | -               | <RVID:5> IOType 错误.
7  64  0 | -         | <A "L-1">       | -               | -               | <RVID:5> IOType 错误.
)";

/// The next column of a row, without the blanks round it.
std::string column(std::istringstream& row) {
    std::string text;
    std::getline(row, text, '|');
    text.erase(0, text.find_first_not_of(' '));
    text.resize(text.find_last_not_of(' ') + 1);
    return text == "-" ? "<A \"-\">" : text;
}

TEST_F(S06, EveryKindOfVariableInEveryMessage) {
    define(true, {5});
    std::istringstream lines(values + 1);
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(line);
        std::istringstream row(line);
        int type = 0;
        int format = 0;
        int point = 0;
        row >> type >> format >> point;
        column(row);
        const std::string by_type = column(row);
        const std::string by_format = column(row);
        const std::string requested = column(row);
        const std::string traced = column(row);
        const std::string request_log = column(row);
        const bool reads_list_from_lot = type == 0 && format == 0;
        sim::machine().set_io(lot, reads_list_from_lot ? "" : "L-1");
        define_variable(5, static_cast<IO_TYPE>(type), static_cast<unsigned char>(format), point);

        const auto event = [](const std::string& value) {
            return " <L <U4 77> <U4 12> <L <L <U4 3> " + list(value) + ">>>.";
        };
        const std::string annotated = requested.empty() ? "" : list("<U4 5> " + requested);
        EXPECT_EQ(queue(3, {"12"}), "S6F3 W" + event("<L <A \"V5\"> " + by_type + ">"));
        EXPECT_EQ(queue(9, {"12"}), "S6F9 W" + event(by_type));
        EXPECT_EQ(queue(13, {"12"}), "S6F13 W" + event("<L <I4 5> " + by_type + ">"));
        EXPECT_EQ(queue(11, {"12"}), "S6F11 W" + event(by_format));
        const std::pair<std::string, std::string> answers[] = {
            {"S6F15 W <U2 12>.", "S6F16" + event(requested)},
            {"S6F17 W <U2 12>.", "S6F18" + event(annotated)},
            {"S6F19 W <U2 3>.", "S6F20 " + list(requested) + "."},
            {"S6F21 W <U2 3>.", "S6F22 " + list(annotated) + "."}};
        for (const auto& [request, answer] : answers) {
            EXPECT_EQ(ask(request), answer);
            Texts texts;
            if (!request_log.empty()) texts = {request_log};
            if (request.starts_with("S6F17") && request_log.ends_with("错误."))
                texts = {"<RVID:5> IOType 错识."};
            EXPECT_EQ(log(), by("reply_S06F" + request.substr(3, 2), texts));
        }

        const std::string trace = queue(1, {"9", "4"});
        const std::string head = "S6F1 W <L <U4 9> <U4 4> <A \"";
        ASSERT_TRUE(trace.starts_with(head)) << trace;
        EXPECT_EQ(trace.find_first_not_of("0123456789", head.size()), head.size() + 16);
        EXPECT_EQ(trace.substr(head.size() + 16), "\"> " + list(traced) + ">.");
    }
}

TEST_F(S06, ListVariableIsCutSafelyFromAnyText) {
    struct Case {
        std::string text;
        std::string event, requested;
        Texts unsupported;
    };
    const std::string huge(100'000, 'x');
    const std::string word(2'000, 'x');
    const Case cases[] = {
        {"U1:3,F4:1.5,X:2", "<U1 3> <F4 1.5>", "<U1 3> <F4 1.5> <A \"2\">", {"X"}},
        {"", "", "", {}},
        {"U1:3", "<U1 3>", "<U1 3>", {}},
        {"U1:3,", "<U1 3>", "<U1 3>", {}},
        {",U1:3", "<U1 3>", "<A \"\"> <U1 3>", {""}},
        {"U1:3,,I4:4", "<U1 3> <I4 4>", "<U1 3> <A \"\"> <I4 4>", {""}},
        {"U1", "<U1 0>", "<U1 0>", {}},
        {"U1:,F4:,I4:abc", "<U1 0> <F4 0> <I4 0>", "<U1 0> <F4 0> <I4 0>", {}},
        {":5", "", "<A \"5\">", {""}},
        {"X:1:2", "", "<A \"1:2\">", {"X"}},
        {"u1:3, U1:3", "", "<A \"3\"> <A \"3\">", {"u1", " U1"}},
        {"I4: -7:8,U1:+9,U1:259,I4:5.9", "<I4 -7> <U1 9> <U1 3> <I4 5>", "<I4 -7> <U1 9> <U1 3> <I4 5>", {}},
        {"F4:-2.5e3,F4:1.5x", "<F4 -2500> <F4 1.5>", "<F4 -2500> <F4 1.5>", {}},
        {"U2:65535,U4:4294967295", "", "<U2 65535> <U4 4294967295>", {"U2", "U4"}},
        {"U8:18446744073709551615,F8:0.125", "", "<U8 18446744073709551615> <F8 0.125>", {"U8", "F8"}},
        {"I1:-128,I8:-9223372036854775808", "", "<I1 -128> <I8 -9223372036854775808>", {"I1", "I8"}},
        {"U8:-1,I8:-1", "", "<U8 18446744073709551615> <I8 -1>", {"U8", "I8"}},
        {"I4:99999999999999999999", "<I4 0>", "<I4 0>", {}},
        {word, "", "<A \"\">", {word}},
        {"X:" + huge, "", "<A \"" + huge + "\">", {"X"}},
    };
    define_variable(5, IO_STRING, SECS_FORMAT_L, 0);
    define(true, {5});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 60));
        sim::machine().set_io(lot, c.text);
        EXPECT_EQ(queue(11, {"12"}), "S6F11 W <L <U4 77> <U4 12> <L <L <U4 3> <L " + list(c.event) + ">>>>.");
        Texts texts = c.unsupported;
        for (std::string& text : texts) text = "CEID:12 SII_DT_LIST子项类型:" + text + "不支持.";
        EXPECT_EQ(log(), by("send_S06F11", texts));
        EXPECT_EQ(ask("S6F19 W <A \"3\">."), "S6F20 <L " + list(c.requested) + ">.");
        EXPECT_EQ(log(), Texts{});
    }
}

/// An event of a report with a known, an unknown and a known variable, and of a report that is not there.
TEST_F(S06, UnknownNumbersLeaveTheirMarksInTheReport) {
    define_variable(1, IO_DIGITAL, SECS_FORMAT_U1, 0);
    define_variable(2, IO_ANALOG, SECS_FORMAT_F8, 0);
    define(true, {2, 99, 1}, {44});
    EXPECT_EQ(queue(3, {"12"}),
              "S6F3 W <L <U4 77> <U4 12> <L <L <U4 3> <L <L <A \"V2\"> <F4 0.75>> <L <A \"-\"> <A \"-\">> "
              "<L <A \"V1\"> <I4 7>>>> <L <U4 0> <L>>>>.");
    EXPECT_EQ(queue(9, {"12"}),
              "S6F9 W <L <U4 77> <U4 12> <L <L <U4 3> <L <F4 0.75> <A \"-\"> <I4 7>>> "
              "<L <U4 44> <L>>>>.");
    EXPECT_EQ(queue(11, {"12"}),
              "S6F11 W <L <U4 77> <U4 12> <L <L <U4 3> <L <F8 0.75> <A \"-\"> <U1 7>>> "
              "<L <U4 44> <L>>>>.");
    EXPECT_EQ(queue(13, {"12"}),
              "S6F13 W <L <U4 77> <U4 12> <L <L <U4 3> <L <L <I4 2> <F4 0.75>> <L <I4 0> <A \"-\">> "
              "<L <I4 1> <I4 7>>>> <L <U4 44> <L>>>>.");
    const std::string trace = queue(1, {"9", "1"});
    EXPECT_TRUE(trace.ends_with("\"> <L <F8 0.75> <U1 7>>>.")) << trace;
    EXPECT_EQ(log(), Texts{});

    const Texts unknown{"<CEID:12><RPTID:3> RVID99 未识别.", "<CEID:12> RPTID:44 未识别."};
    EXPECT_EQ(ask("S6F15 W <U4 12>."),
              "S6F16 <L <U4 77> <U4 12> <L <L <U4 3> <L <F8 0.75> <A \"-\"> "
              "<U1 7>>> <L <U4 44> <L>>>>.");
    EXPECT_EQ(log(), by("reply_S06F15", unknown));
    EXPECT_EQ(ask("S6F17 W <U4 12>."),
              "S6F18 <L <U4 77> <U4 12> <L <L <U4 3> <L <L <U4 2> <F8 0.75>> <L <U4 99> <A \"-\">> "
              "<L <U4 1> <U1 7>>>> <L <U4 44> <L>>>>.");
    EXPECT_EQ(log(), by("reply_S06F17", unknown));
    EXPECT_EQ(ask("S6F19 W <U4 3>."), "S6F20 <L <F8 0.75> <A \"-\"> <U1 7>>.");
    EXPECT_EQ(log(), by("reply_S06F19", {"<RVID:99> 未识别."}));
    EXPECT_EQ(ask("S6F21 W <U4 3>."),
              "S6F22 <L <L <U4 2> <F8 0.75>> <L <U4 99> <A \"-\">> <L <U4 1> <U1 7>>>.");
    EXPECT_EQ(log(), by("reply_S06F21", {"<RVID:99> 未识别."}));
}

// Parameters of a builder or body of a request; what comes of them; the log. Event 12 is disabled.
const char* const refusals = R"(
send_S06F01  | 9          |             | 参数链表长度错误 , 必须是 L2.
send_S06F01  | 9 1 2      |             | 参数链表长度错误 , 必须是 L2.
send_S06F01  | 8 1        |             | TRID:8 未识别.
send_S06F03  | 12 12      |             | 参数链表长度错误 , 必须是 L1.
send_S06F03  | 13         |             | CEID:13 未识别.
send_S06F03  | 12         |             | CEID 12 上报禁止.
send_S06F09  |            |             | 参数链表长度错误 , 必须是 L1.
send_S06F09  | none       |             | CEID:0 未识别.
send_S06F09  | 12         |             | CEID 12 上报禁止.
send_S06F11  | 12 1       |             | 参数链表长度错误 , 必须是 L1.
send_S06F11  | 13         |             | CEID:13 未识别.
send_S06F11  | 12         |             | CEID 12 上报禁止.
send_S06F13  |            |             | 参数链表长度错误, 必须是 L1.
send_S06F13  | -1         |             | CEID:-1 未识别.
send_S06F13  | 12         |             | CEID 12 上报禁用.
reply_S06F15 | <B 12>     |             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F15 | <L <U4 1>> |             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F15 |            |             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F15 | <U4 0>     |             | <CEID> 数值超限 , 必须是 [1,65535].
reply_S06F15 | <U4 65536> |             | <CEID> 数值超限 , 必须是 [1,65535].
reply_S06F15 | <U8 65535> | S6F16 <L <U4 0> <U4 65535> <L>>. | <CEID:65535>未识别.
reply_S06F15 | <I8 12>    | S6F16 <L <U4 77> <U4 12> <L <L <U4 3> <L>>>>. |
reply_S06F15 | <A "12">   | S6F16 <L <U4 77> <U4 12> <L <L <U4 3> <L>>>>. |
reply_S06F17 | <F4 1>     |             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F17 | <I4 -1>    |             | <CEID>数值超限错误 , 必须是 [1,65535].
reply_S06F17 | <I1 1>     | S6F18 <L <U4 0> <U4 1> <L>>. | <CEID:1> 未识别.
reply_S06F19 | <BOOLEAN T>|             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F19 | <U4 70000> |             | <RPTID>数值超限错误 , 必须是 [1,65535].
reply_S06F19 | <U1 8>     | S6F20 <L>.  | <RPTID:8> 未识别.
reply_S06F21 | <B 1>      |             | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F21 | <U4 0>     |             | <RPTID>数值超限 , 必须是 [1,65535].
reply_S06F21 | <A "8">    | S6F22 <L>.  | <RPTID:8> 未识别.
reply_S06F23 | <B 0>      |             | 消息头格式错误 , 必须是 U1.
reply_S06F23 | <U1 2>     |             | <RSDC> 数值超限 , 必须是 [0,1].
reply_S06F23 | <U1 0>     | S6F24 <B 0x02>. |
reply_S06F23 | <U1 1>     | S6F24 <B 0x02>. |
)";

TEST_F(S06, WhatCannotBeToldIsRefusedOrAnsweredEmpty) {
    define(false, {});
    std::istringstream lines(refusals + 1);
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(line);
        std::istringstream row(line);
        const std::string handler = column(row);
        const std::string input = column(row);
        const std::string outcome = column(row);
        const std::string text = column(row);
        const std::string function = handler.substr(handler.size() - 2);
        std::istringstream words(input);
        if (handler.starts_with("send"))
            EXPECT_EQ(queue(static_cast<unsigned char>(std::stoi(function)),
                            {std::istream_iterator<std::string>(words), {}}),
                      outcome);
        else
            EXPECT_EQ(ask("S6F" + function + " W " + input + "."), outcome);
        EXPECT_EQ(log(), text.empty() ? Texts{} : by(handler, {text}));
    }
}

TEST_F(S06, AnAnswerIsLoggedUnderTheReceivedId) {
    fake::driver().host_sends("S6F23 W <U1 0>.", 4711);
    const std::string entry = fake::driver().all_log().back();
    EXPECT_TRUE(entry.starts_with("Send ") && entry.find("4711") != std::string::npos) << entry;
}

TEST_F(S06, HostAcknowledges) {
    const std::pair<unsigned long, Texts> cases[] = {
        {1, {"<B 0>", "<B 0x00 0x01>", "<U1 0>", "<BOOLEAN F>", "<B>"}},
        {0, {"<B 1>", "<B 0xFF>", "<U1 3>", "<A \"x\">"}},
        {format_error, {"<U1>", "<U2 0>", "<L <B 0>>", ""}},
    };
    for (const std::string function : {"02", "04", "10", "12", "14"})
        for (const auto& [result, bodies] : cases)
            for (const std::string& body : bodies) {
                SCOPED_TRACE(function + body);
                fake::driver().reset();
                EXPECT_EQ(fake::driver().host_sends("S6F" + function + " " + body + "."), result);
                Texts texts;
                if (result == 0) texts = {"主机拒绝."};
                if (result == format_error && function >= "12") texts = {"主机回复格式错误 , 必须是 B."};
                EXPECT_EQ(log(), by("recv_S06F" + function, texts));
            }
}

}  // namespace
