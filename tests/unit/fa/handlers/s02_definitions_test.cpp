// S2F23, S2F33, S2F35 and S2F37 through the receive dispatcher: answers, logs, and what the tables hold then.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);

std::string joined(const std::vector<int>& numbers) {
    std::string text;
    for (const int number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

/// Reports "r<RPTID>@<DATAID>:<RVIDs>", then events "e<CEID>@<DATAID><+ or ->:<RPTIDs>".
std::string definitions() {
    std::string text;
    for (const auto& r : RPTID_List.all())
        text +=
            "r" + std::to_string(r->RPTID) + "@" + std::to_string(r->DATAID) + ":" + joined(r->LINKVID) + " ";
    for (const auto& e : CEID_List.all())
        text += "e" + std::to_string(e->CEID) + "@" + std::to_string(e->DATAID) + (e->enable ? "+:" : "-:") +
                joined(e->LINKRPTID) + " ";
    if (!text.empty()) text.pop_back();
    return text;
}

/// Traces "t<TRID> <DSPER>=<period>ms <samples>/<TOTSMP> by <REPGSZ>:<SVIDs>".
std::string traces() {
    std::string text;
    for (const auto& t : TRID_List.all())
        text += (text.empty() ? "t" : " t") + std::to_string(t->TRID) + " " + t->DSPER + "=" +
                std::to_string(t->period) + "ms " + std::to_string(t->sample_count) + "/" +
                std::to_string(t->TOTSMP) + " by " + std::to_string(t->REPGSZ) + ":" + joined(t->LINKSVID);
    return text.empty() ? "none" : text;
}

/// "<U4 1> <U4 2> ... <U4 n>"
std::string many(int n) {
    std::string text;
    for (int i = 1; i <= n; ++i) text += " <U4 " + std::to_string(i) + ">";
    return text;
}

/// A request whose body is a list, and what comes of it.
struct Case {
    std::string elements;  ///< of the body; "" for no body
    int ack;               ///< -1: no answer
    std::string after;     ///< the tables, "" for unchanged
    std::string log = "";  ///< its lines, joined by "|", without the code line
};

const std::string r_start = "r10@1:1,2 r20@2:3 ";
const std::string e_start = "e100@1+:10,20 e200@2-:20";

class S02Definitions : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        set_states("Comm_Enable=1 Online_Status=1");
        for (int id = 1; id <= 1001; ++id) SVID_List[id].id = id;
        for (int id = 1; id <= 60; ++id) RVID_List[id].id = id;
        RVID_List[65535].id = 65535;
        define_start();
    }

    void define_start() {
        RPTID_List.clear();
        CEID_List.clear();
        TRID_List.clear();
        RPTID_List.append({1, 10, "", {1, 2}});
        RPTID_List.append({2, 20, "", {3}});
        CEID_List.append({1, 100, true, "", "", {10, 20}});
        CEID_List.append({2, 200, false, "", "", {20}});
        TRID_List.append({7, "000002", 2000, 9, 4, 0, 1, "", {5}});
    }

    void run(int function, const std::vector<Case>& cases, std::string (*state)()) {
        const std::string number = std::to_string(function);
        for (const Case& c : cases) {
            SCOPED_TRACE(c.elements.substr(0, 100));
            define_start();
            fake::driver().reset();
            const std::string before = state();
            const std::string body = c.elements.empty() ? "" : "<L " + c.elements + ">";
            const unsigned long result = fake::driver().host_sends("S2F" + number + " W " + body + ".");
            EXPECT_EQ(result, c.ack >= 0 ? 7000UL : format_error);
            const std::string answer =
                "S2F" + std::to_string(function + 1) + " <B 0x0" + std::to_string(c.ack) + ">.";
            EXPECT_EQ(fake::driver().replies(), c.ack < 0 ? "" : answer);
            EXPECT_EQ(state(), c.after.empty() ? before : c.after);
            std::string log;
            for (const std::string& line : fake::driver().log()) {
                const std::size_t tag = line.find("[代码行:Talwen::BC_FA::reply_S02F" + number + ":");
                EXPECT_NE(tag, std::string::npos) << line;
                log += (log.empty() ? "" : "|") + line.substr(0, tag);
            }
            EXPECT_EQ(log, c.log);
        }
    }
};

TEST_F(S02Definitions, TraceInitialise) {
    const std::string kept = "t7 000002=2000ms 4/9 by 1:5";
    const std::string trid_range = "<TRID> 数值超限 , 范围是 [1,65535]. ";
    const std::string total_range = "<TOTSMP> 数值超限 , 范围是 [0,2100000000]. ";
    const std::string dsper_low = "<DSPER> 值无效 , 必须是 >= 1. ";
    const std::string dsper_form = "<DSPER> 格式错误 , 必须是 A(hhmmss , 6 bytes). ";
    const std::string form = " 格式错误 , 必须是 I()/U()/A. ";
    const std::string good = R"(<U4 1> <A "000001"> <U4 5> <U1 2> )";
    const std::vector<Case> cases = {
        {R"(<U4 1> <A "013005"> <U4 10> <U1 2> <L <U4 3> <U4 1>>)", 0,
         kept + " t1 013005=5405000ms 0/10 by 2:3,1", "添加 TRID:1. "},
        {R"(<A "65535"> <A "000001"> <A "2100000000"> <A "x"> <L>)", 0,
         kept + " t65535 000001=1000ms 0/2100000000 by 0:", "添加 TRID:65535. "},
        {R"(<I2 7> <A "000001"> <I8 1> <I1 -3> <L <U4 1001> <U4 1001>>)", 0,
         "t7 000001=1000ms 0/1 by -3:1001,1001", "添加 TRID:7. "},  // replaces, samples from 0
        {R"(<U4 7> <A "000001"> <U4 0> <U1 2> <L <U4 3>>)", 0, "none", "移除 TRID:7. "},
        {R"(<U4 8> <A "000001"> <U4 0> <U1 2> <L>)", 0, "", "移除 TRID:8. "},
        {R"(<U4 7> <A "000000"> <U4 0> <U1 2> <L>)", 3, "", dsper_low},
        {R"(<U4 1> <A "hhmmss"> <U4 5> <U1 2> <L>)", 3, "", dsper_low},
        {R"(<U4 1> <A "00001"> <U4 5> <U1 2> <L>)", 5, "", dsper_form},
        {R"(<U4 1> <U4 100000> <U4 5> <U1 2> <L>)", 5, "", dsper_form},
        {R"(<F4 1> <A "000001"> <U4 5> <U1 2> <L>)", 5, "", "<TRID>" + form},
        {R"(<U4 0> <A "000001"> <U4 5> <U1 2> <L>)", 6, "", trid_range},
        {R"(<U4 65536> <A "000001"> <U4 5> <U1 2> <L>)", 6, "", trid_range},
        {R"(<U4 1> <A "000001"> <I4 -1> <U1 2> <L>)", 3, "", total_range},
        {R"(<U4 1> <A "000001"> <U4 2100000001> <U1 2> <L>)", 3, "", total_range},
        {R"(<U4 1> <A "000001"> <B 1> <U1 2> <L>)", 5, "", "<TOTSMP>" + form},
        {R"(<U4 1> <A "000001"> <U4 5> <L> <L>)", 5, "", "<REPGSZ>" + form},
        {good + "<L <U4 1> <F8 2> <U4 2000>>", 5, "", "<SVID1>" + form},
        {good + R"(<L <U4 1> <U4 2000> <A "z">>)", 4, "", "<SVID1>:2000 未识别. |<SVID2>:0 未识别. "},
        {good + "<L" + many(1001) + ">", 1, "", "<SVIDs> 数量超限, 必须是 <= 1000. "},
        {R"(<U4 0> <A "1"> <U4 5> <U1 2> <L <U4 2000>>)", 6, "",  // all logged, the first answered
         trid_range + "|" + dsper_form + "|<SVID0>:2000 未识别. "},
        {good + "<U4 1>", -1, "", "L[4] 格式错误, 必须是 L. "},
        {R"(<U4 1> <A "000001"> <U4 5> <U1 2>)", -1, "", "消息头格式错误 , 必须是 L5. "},
        {"", -1, "", "消息头格式错误 , 必须是 L5. "},
    };
    run(23, cases, traces);
    console.clear();
    fake::driver().host_sends("S2F23 W <L <U4 9> <A \"000001\"> <U4 5> <U1 2> <L" + many(1000) + ">>.");
    EXPECT_EQ(fake::driver().replies(), "S2F24 <B 0x00>.");
    fake::driver().host_sends("S2F23 W <L <U4 9> <A \"000001\"> <U4 0> <U1 2> <L>>.");
    EXPECT_EQ(console, (std::vector<std::string>{"Talwen::BC_FA::reply_S02F23 , Add TRID:9.",
                                                 "Talwen::BC_FA::reply_S02F23 , Remove TRID:9."}));
}

TEST_F(S02Definitions, DefineReport) {
    const std::string rptid_range = "<RPTID> 数值超限 , 有效范围[1,65535]. ";
    const std::string rvid_range = "<RVID> 数值超限 , 有效范围[1,65535]. ";
    const std::string form = " 格式错误 , 必须是 I()/U()/A. ";
    const auto after_good = [](const std::string& entry) {
        return "<U4 5> <L <L <U4 1> <L <U4 4>>> " + entry + ">";
    };
    const std::string first_stays = r_start + "r1@5:4 " + e_start;
    const std::vector<Case> cases = {
        {R"(<U4 0> <L <L <U2 65535> <L <I8 65535> <A "1"> <U1 1>>>>)", 0,
         r_start + "r65535@0:65535,1,1 " + e_start},
        {after_good("<L <U4 2> <L <U4 5>>>"), 0, r_start + "r1@5:4 r2@5:5 " + e_start},
        {"<U4 9> <L <L <U4 20> <L>>>", 0, "r10@1:1,2 e100@1+:10 e200@2-:"},
        {"<U4 9> <L <L <U4 99> <L>>>", 0, ""},
        {"<U4 9> <L <L <U4 10> <L>> <L <U4 10> <L <U4 7>>>>", 0, "r20@2:3 r10@9:7 e100@1+:20 e200@2-:20"},
        {"<U4 2> <L>", 0, "r10@1:1,2 e100@1+:10,20 e200@2-:"},  // by DATAID, others stay
        {"<U4 3> <L>", 0, ""},
        // refused or malformed: what stands before the fault stays
        {after_good("<L <U4 2> <L" + many(51) + ">>"), 1, first_stays},
        {after_good("<L <U4 10> <L <U4 5>>> <L <U4 2> <L <U4 5>>>"), 3, first_stays},
        {after_good("<L <U4 2> <L <U4 5> <U4 61> <F4 1>>>"), 4, first_stays},
        {after_good("<L <U4 0> <L <U4 5>>>"), 5, first_stays, rptid_range},
        {"<U4 5> <L <L <U4 65536> <L>>>", 5, "", rptid_range},
        {"<U4 5> <L <L <U4 2> <L <U4 65536>>>>", 6, "", rvid_range},
        {R"(<U4 5> <L <L <U4 2> <L <A "Door">>>>)", 6, "", rvid_range},
        {"<U4 70000> <U4 1>", 6, "", "<DATAID>: 70000 数值超限, 有效范围[1, 65535]."},
        {"<I4 -1> <L>", 6, "", "<DATAID>: -1 数值超限, 有效范围[1, 65535]."},
        {after_good("<L <U4 2> <L <U4 5> <BOOLEAN T>>>"), -1, first_stays, "L[1][1][1][1]<RVID>" + form},
        {after_good("<L <U4 2> <U4 5>>"), -1, first_stays, "L[1][1][1] 格式错误 , 必须是 L. "},
        {after_good("<L <F4 2> <L>>"), -1, first_stays, "L[1][1][0]<RPTID>" + form},
        {after_good("<L <U4 2>>"), -1, first_stays, "L[1][1] RPTIDn 格式错误 , 必须是 L2. "},
        {"<U4 5> <U4 1>", -1, "", "L[1] 格式错误 , 必须是 L. "},
        {"<L> <L>", -1, "", "<DATAID> 格式错误 , I()/U()/A. "},
        {"<U4 5>", -1, "", "消息头格式错误 , 必须是 L2. "},
        {"", -1, "", "消息头格式错误 , 必须是 L2. "},
    };
    run(33, cases, definitions);
    fake::driver().host_sends("S2F33 W <L <U4 65535> <L <L <U4 1> <L" + many(50) + ">>>>.");
    EXPECT_EQ(fake::driver().replies(), "S2F34 <B 0x00>.");
}

TEST_F(S02Definitions, LinkEventReport) {
    const std::string form = " 格式错误 , 必须是 I()/U()/A. ";
    const auto after_good = [](const std::string& entry) {
        return "<U4 5> <L <L <U4 1> <L <U4 10>>> " + entry + ">";
    };
    const std::string first_stays = r_start + e_start + " e1@5-:10";
    const std::vector<Case> cases = {
        {R"(<U4 70000> <L <L <U4 0> <L <U1 20> <A "10"> <I2 20>>>>)", 0,
         r_start + e_start + " e0@70000-:20,10,20"},
        {"<U4 9> <L <L <U4 100> <L>>>", 0, r_start + "e200@2-:20"},
        {"<U4 9> <L <L <U4 100> <L>> <L <U4 100> <L <U4 10>>>>", 0,
         r_start + "e200@2-:20 e100@9-:10"},  // linked anew: disabled
        {"<U4 2> <L>", 0, r_start + "e100@1+:10,20"},
        {"<U4 3> <L>", 0, ""},
        {after_good("<L <U4 2> <L" + many(51) + ">>"), 1, first_stays},
        {after_good("<L <U4 200> <L <U4 10>>>"), 3, first_stays},
        {after_good("<L <U4 2> <L>>"), 4, first_stays},
        {after_good("<L <U4 2> <L <U4 20> <U4 11> <F4 1>>>"), 5, first_stays},
        {after_good("<L <U4 2> <L <U4 10> <F4 1>>>"), -1, first_stays, "L[1][1][1] <RPTID>[1]" + form},
        {after_good("<L <U4 2> <U4 10>>"), -1, first_stays, "L[1][1][1] 格式错误 , 必须是 L. "},
        {after_good("<L <B 2> <L>>"), -1, first_stays, "L[1][1][0] <CEID>" + form},
        {after_good("<U4 2>"), -1, first_stays, "L[1][1] 格式错误 , 必须是 L2. "},
        {R"(<U4 5> <A "">)", -1, "", "L[1] 格式错误 , 必须是 L. "},
        {"<F4 5> <L>", -1, "", "<DATAID>" + form},
        {"<U4 5> <L> <L>", -1, "", "消息头格式错误 , 必须是 L2. "},
    };
    run(35, cases, definitions);
    for (int rptid = 1; rptid <= 50; ++rptid) RPTID_List.append({0, rptid, "", {}});
    fake::driver().host_sends("S2F35 W <L <U4 5> <L <L <U4 1> <L" + many(50) + ">>>>.");
    EXPECT_EQ(fake::driver().replies(), "S2F36 <B 0x00>.");
}

TEST_F(S02Definitions, EnableEventReport) {
    const std::string on = r_start + "e100@1+:10,20 e200@2+:20";
    const std::string off = r_start + "e100@1-:10,20 e200@2-:20";
    const std::vector<Case> cases = {
        {"<BOOLEAN T> <L <U4 200>>", 0, on},
        {R"(<BOOLEAN 5> <L <A "200"> <I4 100>>)", 0, on},
        {"<BOOLEAN F> <L <U4 100>>", 0, off},
        {"<BOOLEAN T> <L>", 0, on},
        {"<BOOLEAN F> <L>", 0, off},
        {"<BOOLEAN T> <L <U4 200> <U4 1>>", 1, ""},  // all or nothing
        {"<U1 1> <U4 9>", 2, "", "<CEED> 格式错误 , 必须是 Boolean "},
        {"<BOOLEAN T> <U4 200>", -1, ""},
        {"<BOOLEAN T> <L <U4 200> <F4 100>>", -1, "", "L[1][1] 格式错误 , Must U()/I()/A . "},
        {"<BOOLEAN T>", -1, "", "消息头格式错误 , 必须是 L2. "},
    };
    run(37, cases, definitions);
    define_start();
    const auto held = CEID_List.find(200);
    fake::driver().host_sends("S2F37 W <L <BOOLEAN T> <L <U4 200>>>.");
    EXPECT_TRUE(held->enable) << "the record that a reader holds is the one that is switched";
}

}  // namespace
