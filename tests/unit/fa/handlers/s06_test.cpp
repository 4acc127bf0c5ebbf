// Stream 6: what each builder and each request makes of a variable, unknown numbers, texts of the log,
// acknowledges.
#include <malloc.h>
#include <regex>

#include "support/module_fixture.h"

namespace {

using namespace Talwen;
using fake::Texts;
using fake::with;

/// Four digital points, two analog (fewer than digital), six string (more); P6 is the first of those.
const std::string points = fake::points(
    "digital P0 7, digital P1 -2, digital P2 0, digital P3 0, analog P4 0.75, analog P5 -12.5, string P6 "
    "'L-1', "
    "string P7 '', string P8 '', string P9 '', string P10 'hidden', string P11 ''");

class S06 : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(points);
        set_states(fake::on_line);
    }

    /// Variable `id` as report and as status variable, named "V" and its number; `kind` is its IO type, point
    /// and format.
    static void define_variable(const std::string& id, const std::string& kind) {
        define(RVID_List, id + " " + kind + " 0 0 V" + id);
        define(SVID_List, id + " " + kind);
    }

    /// Event 12 of report 3, and of others that are not there; trace 9 of the same variables.
    static void define_event(bool enable, std::vector<int> variables, std::vector<int> reports = {3}) {
        RPTID_List.append({1, 3, "", variables});
        CEID_List.append({77, 12, enable, "", "", std::move(reports)});
        TRID_STRU trace;
        trace.TRID = 9;
        trace.LINKSVID = std::move(variables);
        TRID_List.append_or_replace(trace);
    }

    std::string ask(const std::string& request) { return answer_to(request, 1); }
    static std::string list(const std::string& items) { return items.empty() ? "<L>" : "<L " + items + ">"; }
};

// What a variable of an IO type, point index and format byte is in each message: S6F3, S6F9 and S6F13;
// S6F11; the answers S6F16, S6F18, S6F20 and S6F22 ("none" for no item) and their log; S6F1.
const char* const values = R"(
0  0   0 | <I4 7> | <L> | <I4 7> | <I4 7> || 0  0  32 | <I4 7> | <A "-"> | <I4 7> | <I4 7>
0  0  64 | <I4 7> | <A "L-1"> | <I4 7> | <I4 7> || 0  1  96 | <I4 -2> | <A "-"> | <I8 -2> | <I8 -2>
0  1 100 | <I4 -2> | <A "-"> | <I1 -2> | <I1 -2> || 0  1 104 | <I4 -2> | <A "-"> | <I2 -2> | <I2 -2>
0  1 112 | <I4 -2> | <I4 -2> | <I4 -2> | <I4 -2> || 0  1 128 | <I4 -2> | <F8 -12.5> | <I4 -2> | <I4 -2>
0  1 144 | <I4 -2> | <F4 -12.5> | <I4 -2> | <I4 -2> || 0  0 160 | <I4 7> | <A "-"> | <U8 7> | <U8 7>
0  1 164 | <I4 -2> | <U1 254> | <U1 254> | <U1 254> || 0  1 168 | <I4 -2> | <U2 65534> | <U2 65534> | <U2 65534>
0  1 176 | <I4 -2> | <U4 4294967294> | <U4 4294967294> | <U4 4294967294>
0 -1 164 | <I4 0> | <U1 0> | <A "-"> | <U1 0> | RVID [DIO:-1] 数值超限 , 必须是 [0,3]. @
0  4 112 | <I4 0> | <I4 0> | <A "-"> | <I4 0> | RVID [DIO:4] 数值超限 , 必须是 [0,3]. @
1  0 144 | <F4 0.75> | <F4 0.75> | <F4 0.75> | <F4 0.75> || 1  1 128 | <F4 -12.5>| <F8 -12.5> | <F8 -12.5> | <F8 -12.5>
1  1 104 | <F4 -12.5>| <A "-"> | <F8 -12.5> | <F8 -12.5> || 1  0 176 | <F4 0.75> | <U4 7> | <F8 0.75> | <F8 0.75>
1  3 144 | <F4 0> | <F4 0> | <F4 0> | <F4 0>
1  4 144 | <F4 0> | <F4 0> | <A "-"> | <F4 0> | RVID [AIO:4] 数值超限 , 必须是 [0,1]. @
2  0  64 | <A "L-1"> | <A "L-1"> | <A "L-1"> | <A "L-1"> || 2  1   0 | <A ""> | <L> | <L> | <A "">
2  0 164 | <A "L-1"> | <U1 7> | none | <A "L-1">
2  4  64 | <A "hidden"> | <A "hidden"> | <A "-"> | <A "hidden"> | RVID [SIO:4] 数值超限 , 必须是 [0,5]. @
2 -1   0 | <A ""> | <L> | <A "-"> | <A ""> | RVID [SIO:-1] 数值超限 , 必须是 [0,5]. @
3  0 176 | <A "-"> | <U4 7> | <A "-"> | <A "-"> | <RVID:5> IOType 错误. @
7  0  64 | <A "-"> | <A "L-1"> | <A "-"> | <A "-"> | <RVID:5> IOType 错误. @
)";

TEST_F(S06, EveryKindOfVariableInEveryMessage) {
    define_event(true, {5});
    for (const Texts& row : fake::rows(values, 6)) {
        SCOPED_TRACE(row[0]);
        sim::machine().set_io("P6", row[0] == "0  0   0" ? "" : "L-1");
        define_variable("5", row[0]);
        const std::string event = " <L <U4 77> <U4 12> <L <L <U4 3> {list}>>>.";
        const auto in_event = [&](const std::string& items) { return with(event, "list", list(items)); };
        EXPECT_EQ(queued(6, 3, {"12"}), "S6F3 W" + in_event("<L <A \"V5\"> " + row[1] + ">"));
        EXPECT_EQ(queued(6, 9, {"12"}), "S6F9 W" + in_event(row[1]));
        EXPECT_EQ(queued(6, 13, {"12"}), "S6F13 W" + in_event("<L <I4 5> " + row[1] + ">"));
        EXPECT_EQ(queued(6, 11, {"12"}), "S6F11 W" + in_event(row[2]));
        const std::string item = row[3] == "none" ? "" : row[3];
        const std::string annotated = item.empty() ? "" : list("<U4 5> " + item);
        const std::string other_word = row[5].ends_with("错误. @") ? "<RVID:5> IOType 错识. @" : row[5];
        EXPECT_EQ(outcome("S6F15 W <U2 12>.", 1), "S6F16" + in_event(item) + row[5]);
        EXPECT_EQ(outcome("S6F17 W <U2 12>.", 1), "S6F18" + in_event(annotated) + other_word);
        EXPECT_EQ(outcome("S6F19 W <U2 3>.", 1), "S6F20 " + list(item) + "." + row[5]);
        EXPECT_EQ(outcome("S6F21 W <U2 3>.", 1), "S6F22 " + list(annotated) + "." + row[5]);
        const std::string trace = queued(6, 1, {"9", "4"});
        const std::regex time("(S6F1 W <L <U4 9> <U4 4> <A \")[0-9]{16}(\"> .*)");
        EXPECT_EQ(std::regex_replace(trace, time, "$1$2"),
                  "S6F1 W <L <U4 9> <U4 4> <A \"\"> " + list(row[4]) + ">.");
    }
}

// A list variable's text, its items in S6F11 and in S6F20, and the words that S6F11 does not know.
const char* const list_texts = R"(
U1:3,F4:1.5,X:2 | <U1 3> <F4 1.5> | <U1 3> <F4 1.5> <A "2"> | X; || {none} || U1:3 | <U1 3> | <U1 3> || U1:3, | <U1 3> | <U1 3>
,U1:3 | <U1 3> | <A ""> <U1 3> | ; || U1:3,,I4:4 | <U1 3> <I4 4> | <U1 3> <A ""> <I4 4> | ; || U1 | <U1 0> | <U1 0>
U1:,F4:,I4:abc | <U1 0> <F4 0> <I4 0> | <U1 0> <F4 0> <I4 0> || :5 | | <A "5"> | ; || X:1:2 | | <A "1:2"> | X;
u1:3, U1:3 | | <A "3"> <A "3"> | u1; U1;
I4: -7:8,U1:+9,U1:259,I4:5.9 | <I4 -7> <U1 9> <U1 3> <I4 5> | <I4 -7> <U1 9> <U1 3> <I4 5>
F4:-2.5e3,F4:1.5x | <F4 -2500> <F4 1.5> | <F4 -2500> <F4 1.5> || U2:65535,U4:4294967295 | | <U2 65535> <U4 4294967295> | U2;U4;
U8:18446744073709551615,F8:0.125 | | <U8 18446744073709551615> <F8 0.125> | U8;F8;
I1:-128,I8:-9223372036854775808 | | <I1 -128> <I8 -9223372036854775808> | I1;I8;
U8:-1,I8:-1 | | <U8 18446744073709551615> <I8 -1> | U8;I8;
I4:99999999999999999999,U1:-99999999999 | <I4 2147483647> <U1 0> | <I4 2147483647> <U1 0> || {word} | | <A ""> | {word};
X:{word}{word}{word} | | <A "{word}{word}{word}"> | X;
)";

TEST_F(S06, ListVariableIsCutSafelyFromAnyText) {
    define_variable("5", "2 0 0");
    define_event(true, {5});
    for (Texts row : fake::rows(list_texts, 4)) {
        SCOPED_TRACE(row[0]);
        for (std::string& text : row) text = with(with(text, "none", ""), "word", std::string(2'000, 'x'));
        sim::machine().set_io("P6", row[0]);
        EXPECT_EQ(queued(6, 11, {"12"}),
                  "S6F11 W <L <U4 77> <U4 12> <L <L <U4 3> <L " + list(row[1]) + ">>>>.");
        std::string log;
        std::istringstream words(row[3]);
        for (std::string word; std::getline(words, word, ';');)
            log += "CEID:12 SII_DT_LIST子项类型:" + word + "不支持. @";
        EXPECT_EQ(log_of("send_S06F11"), log);
        EXPECT_EQ(ask("S6F19 W <A \"3\">."), "S6F20 <L " + list(row[2]) + ">.");
        EXPECT_EQ(fake::driver().log(), Texts{});
    }
}

/// An event of a report with a known, an unknown and a known variable, and of a report that is not there.
TEST_F(S06, UnknownNumbersLeaveTheirMarksInTheReport) {
    define_variable("1", "0 0 164");
    define_variable("2", "1 0 128");
    define_event(true, {2, 99, 1}, {3, 44});
    const std::string event = " <L <U4 77> <U4 12> <L <L <U4 3> <L ", end = ">> <L <U4 44> <L>>>>.";
    const std::string plain = "<F8 0.75> <A \"-\"> <U1 7>";
    EXPECT_EQ(queued(6, 3, {"12"}), "S6F3 W" + event + R"(<L <A "V2"> <F4 0.75>> <L <A "-"> <A "-">> )" +
                                        R"(<L <A "V1"> <I4 7>>>> <L <U4 0> <L>>>>.)");
    EXPECT_EQ(queued(6, 9, {"12"}), "S6F9 W" + event + "<F4 0.75> <A \"-\"> <I4 7>" + end);
    EXPECT_EQ(queued(6, 11, {"12"}), "S6F11 W" + event + plain + end);
    const std::string pairs = R"(<L <I4 2> <F4 0.75>> <L <I4 0> <A "-">> <L <I4 1> <I4 7>>)";
    EXPECT_EQ(queued(6, 13, {"12"}), "S6F13 W" + event + pairs + end);
    EXPECT_TRUE(queued(6, 1, {"9", "1"}).ends_with("\"> <L <F8 0.75> <U1 7>>>."));
    EXPECT_EQ(fake::driver().log(), Texts{});

    const std::string numbered = "<L <U4 2> <F8 0.75>> <L <U4 99> <A \"-\">> <L <U4 1> <U1 7>>";
    const std::string unknown = "<CEID:12><RPTID:3> RVID99 未识别. @<CEID:12> RPTID:44 未识别. @";
    EXPECT_EQ(outcome("S6F15 W <U4 12>.", 1), "S6F16" + event + plain + end + unknown);
    EXPECT_EQ(outcome("S6F17 W <U4 12>.", 1), "S6F18" + event + numbered + end + unknown);
    EXPECT_EQ(outcome("S6F19 W <U4 3>.", 1), "S6F20 <L " + plain + ">.<RVID:99> 未识别. @");
    EXPECT_EQ(outcome("S6F21 W <U4 3>.", 1), "S6F22 <L " + numbered + ">.<RVID:99> 未识别. @");
}

// Parameters of a builder or body of a request; what comes of them; the log. Event 12 is disabled.
const char* const refusals = R"(
send_S06F01 | 9 / 9 1 2 | | 参数链表长度错误 , 必须是 L2. || send_S06F01  | 8 1        |             | TRID:8 未识别.
send_S06F03  | 12 12      |             | 参数链表长度错误 , 必须是 L1.
send_S06F03  | 13         |             | CEID:13 未识别. || send_S06F03  | 12         |             | CEID 12 上报禁止.
send_S06F09  |            |             | 参数链表长度错误 , 必须是 L1.
send_S06F09  | none       |             | CEID:0 未识别. || send_S06F09  | 12         |             | CEID 12 上报禁止.
send_S06F11  | 12 1       |             | 参数链表长度错误 , 必须是 L1.
send_S06F11  | 13         |             | CEID:13 未识别. || send_S06F11  | 12         |             | CEID 12 上报禁止.
send_S06F13  |            |             | 参数链表长度错误, 必须是 L1.
send_S06F13  | -1         |             | CEID:-1 未识别. || send_S06F13  | 12         |             | CEID 12 上报禁用.
reply_S06F15 | <B 12> / <L <U4 1>> | none | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F15 |            | none        | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F15 | <U4 0> / <U4 65536> / <U8 4294967308> / <A "4294967308"> | none | <CEID> 数值超限 , 必须是 [1,65535].
reply_S06F15 | <U8 65535> | S6F16 <L <U4 0> <U4 65535> <L>>. | <CEID:65535>未识别.
reply_S06F15 | <I8 12> / <A "12"> | S6F16 <L <U4 77> <U4 12> <L <L <U4 3> <L>>>>.
reply_S06F17 | <F4 1>     | none        | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F17 | <I4 -1>    | none        | <CEID>数值超限错误 , 必须是 [1,65535].
reply_S06F17 | <I1 1>     | S6F18 <L <U4 0> <U4 1> <L>>. | <CEID:1> 未识别.
reply_S06F19 | <BOOLEAN T>| none        | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F19 | <U4 70000> / <I8 4294967299> | none        | <RPTID>数值超限错误 , 必须是 [1,65535].
reply_S06F19 | <U1 8>     | S6F20 <L>.  | <RPTID:8> 未识别.
reply_S06F21 | <B 1>      | none        | 消息头格式错误 , 必须是 I()/U()/A.
reply_S06F21 | <U4 0>     | none        | <RPTID>数值超限 , 必须是 [1,65535].
reply_S06F21 | <A "8">    | S6F22 <L>.  | <RPTID:8> 未识别.
reply_S06F23 | <B 0>      | none        | 消息头格式错误 , 必须是 U1.
reply_S06F23 | <U1 2>     | none        | <RSDC> 数值超限 , 必须是 [0,1]. || reply_S06F23 | <U1 0> / <U1 1> | S6F24 <B 0x02>.
)";

TEST_F(S06, WhatCannotBeToldIsRefusedOrAnsweredEmpty) {
    define_event(false, {});
    for (const Texts& row : fake::rows(refusals, 4)) {
        SCOPED_TRACE(row[0] + row[1]);
        const std::string function = row[0].substr(row[0].size() - 2);
        std::istringstream words(row[1]);
        const Texts parameters{std::istream_iterator<std::string>(words), {}};
        EXPECT_EQ(row[0][0] == 's' ? queued(6, static_cast<unsigned char>(std::stoi(function)), parameters)
                                   : ask("S6F" + function + " W " + row[1] + "."),
                  row[2]);
        EXPECT_EQ(log_of(row[0]), row[3].empty() ? "" : row[3] + " @");
    }
}

TEST_F(S06, AnAnswerIsLoggedUnderTheReceivedId) {
    fake::driver().host_sends("S6F23 W <U1 0>.", 4711);
    const std::string entry = fake::driver().all_log().back();
    EXPECT_TRUE(entry.starts_with("Send ") && entry.find("4711") != std::string::npos) << entry;
}

// The last of a thousand items is logged, and the log throws.
TEST_F(S06, AnExceptionInTheMiddleOfAnAnswerFreesWhatIsBuilt) {
    define(ECID_List, "5 0 0 176");
    define_variable("5", "0 0 176");
    define_variable("6", "2 0 0");
    sim::machine().set_io("P6", "X:1");
    std::vector<int> variables(1000, 5);
    variables.push_back(6);
    define_event(true, variables);
    RPTID_List.append({1, 4, "", {std::vector<int>(1000, 5)}});
    RPTID_List.append({1, 8, "", {99}});
    CEID_List.append({1, 13, true, "", "", {4, 8}});
    std::string thousand;
    for (int i = 0; i < 1000; ++i) thousand += "<U1 5> ";
    const auto try_all_once = [&] {
        for (const std::string message : {"S1F3", "S1F11", "S2F13", "S2F29"}) {
            fake::driver().let_log_throw();
            EXPECT_EQ(fake::driver().host_sends(message + " W <L " + thousand + "<U1 9>>."),
                      fake::format_error);
        }
        for (const std::string request : {"S6F15", "S6F17"})
            EXPECT_EQ(fake::driver().host_sends(request + " W <U1 13>."), fake::format_error);
        std::string ceid = "12";
        EXPECT_FALSE(QFA_Message_PushBack(6, 11, &ceid, nullptr, nullptr, nullptr, nullptr));
        fake::driver().reset();
        console.clear();
    };
    try_all_once();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i < 10; ++i) try_all_once();
    EXPECT_LT(::mallinfo2().uordblks, before + 500'000);  // one of each holds more than that
}

TEST_F(S06, HostAcknowledges) {
    const std::pair<std::string, Texts> cases[] = {
        {"=1", {"<B 0>", "<B 0x00 0x01>", "<U1 0>", "<BOOLEAN F>", "<B>"}},
        {"=0主机拒绝. @", {"<B 1>", "<B 0xFF>", "<U1 3>", "<A \"x\">"}},
        {"none", {"<U1>", "<U2 0>", "<L <B 0>>", ""}},
    };
    for (const std::string function : {"02", "04", "10", "12", "14"})
        for (const auto& [result, bodies] : cases)
            for (const std::string& body : bodies) {
                const bool says_why = result == "none" && function >= "12";
                EXPECT_EQ(outcome("S6F" + function + " " + body + "."),
                          result + (says_why ? "主机回复格式错误 , 必须是 B. @" : ""));
            }
}

}  // namespace
