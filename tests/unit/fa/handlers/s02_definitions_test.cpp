// S2F23, S2F33, S2F35 and S2F37 through the receive dispatcher: answers, logs, and what the tables hold then.
#include "support/module_fixture.h"

namespace {

using namespace Talwen;
using fake::with;

/// The lookups are the controller's.
BC_FA& the_module() {
    return static_cast<BC_FA&>(*FA_Instance.load());
}

/// Reports "r<RPTID>@<DATAID>:<RVIDs>", then events "e<CEID>@<DATAID><+ or ->:<RPTIDs>".
std::string definitions() {
    std::string text;
    for (const auto& r : RPTID_List.all()) {
        RPTID_STRU* found = nullptr;
        EXPECT_TRUE(the_module().QFA_Get_RPTID_Stru(r->RPTID, &found) && found == r.get());
        text += " r" + std::to_string(r->RPTID) + "@" + std::to_string(r->DATAID) + ":" +
                fake::joined(r->LINKVID);
    }
    for (const auto& e : CEID_List.all()) {
        CEID_STRU* found = nullptr;
        EXPECT_TRUE(the_module().QFA_Get_CEID_Stru(e->CEID, &found) && found == e.get());
        text += " e" + std::to_string(e->CEID) + "@" + std::to_string(e->DATAID) + (e->enable ? "+:" : "-:") +
                fake::joined(e->LINKRPTID);
    }
    return text.empty() ? text : text.substr(1);
}

/// Traces "t<TRID> <DSPER>=<period>ms <samples>/<TOTSMP> by <REPGSZ>:<SVIDs>".
std::string traces() {
    std::string text;
    for (const auto& t : TRID_List.all()) {
        TRID_STRU* found = nullptr;
        EXPECT_TRUE(the_module().QFA_Get_TRID_Stru(t->TRID, &found) && found == t.get());
        text += (text.empty() ? "t" : " t") + std::to_string(t->TRID) + " " + t->DSPER + "=" +
                std::to_string(t->period) + "ms " + std::to_string(t->sample_count) + "/" +
                std::to_string(t->TOTSMP) + " by " + std::to_string(t->REPGSZ) + ":" +
                fake::joined(t->LINKSVID);
    }
    return text;
}

/// "<U4 1> <U4 2> ... <U4 n>", or the numbers with another text between them.
std::string many(int n, const std::string& between = "") {
    std::string text;
    for (int i = 1; i <= n; ++i)
        text +=
            between.empty() ? " <U4 " + std::to_string(i) + ">" : (i > 1 ? between : "") + std::to_string(i);
    return text;
}

class S02Definitions : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        set_states(fake::on_line);
        define(SVID_List, many(1001, ","));
        define(RVID_List, many(60, ",") + ",65535");
        define_start();
    }

    static void define_start() {
        RPTID_List.clear();
        CEID_List.clear();
        TRID_List.clear();
        RPTID_List.append({1, 10, "", {1, 2}});
        RPTID_List.append({2, 20, "", {3}});
        CEID_List.append({1, 100, true, "", "", {10, 20}});
        CEID_List.append({2, 200, false, "", "", {20}});
        TRID_List.append({7, "000002", 2000, 9, 4, 0, 1, "", {5}});
        TRID_List.append({6, "000003", 3000, 9, 0, 0, 1, "", {}});
    }

    /// Each message from the same start; {r} and {e} are the reports and events of that, {form} recurs.
    void run(std::string table, std::string (*state)()) {
        table = with(with(table, "r", "r10@1:1,2 r20@2:3"), "e", "e100@1+:10,20 e200@2-:20");
        try_all(with(table, "form", " 格式错误 , 必须是 I()/U()/A. "), state, define_start);
    }
};

TEST_F(S02Definitions, TraceInitialise) {
    const std::string table = R"(
S2F23 W <L <U4 1> <A "013005"> <U4 10> <U1 2> <L <U4 3> <U4 1>>>. | S2F24 <B 0x00>. | 添加 TRID:1. @ | {t} t1 013005=5405000ms 0/10 by 2:3,1
S2F23 W <L <A "65535"> <A "000001"> <A "2100000000"> <A "x"> <L>>. | S2F24 <B 0x00>. | 添加 TRID:65535. @ | {t} t65535
    000001=1000ms 0/2100000000 by 0:
S2F23 W <L <I2 7> <A "000001"> <I8 1> <I1 -3> <L <U4 1001> <U4 1001>>>. | S2F24 <B 0x00>. | 添加 TRID:7. @ | {other} t7
    000001=1000ms 0/1 by -3:1001,1001
S2F23 W <L <U4 7> <A "000001"> <U4 0> <U1 2> <L <U4 3>>>. | S2F24 <B 0x00>. | 移除 TRID:7. @ | {other}
S2F23 W <L <U4 8> <A "000001"> <U4 0> <U1 2> <L>>. | S2F24 <B 0x00>. | 移除 TRID:8. @ | {t}
S2F23 W <L <U4 7> <A "000000"> <U4 0> <U1 2> <L>>. | S2F24 <B 0x03>. | <DSPER> 值无效 , 必须是 >= 1. @ | {t}
S2F23 W <L <U4 1> <A "hhmmss"> <U4 5> <U1 2> <L>>. | S2F24 <B 0x03>. | <DSPER> 值无效 , 必须是 >= 1. @ | {t}
S2F23 W <L <U4 1> <A "00001"> <U4 5> <U1 2> <L>>. | S2F24 <B 0x05>. | {dsper}@ | {t}
S2F23 W <L <U4 1> <U4 100000> <U4 5> <U1 2> <L>>. | S2F24 <B 0x05>. | {dsper}@ | {t}
S2F23 W <L <F4 1> <A "000001"> <U4 5> <U1 2> <L>>. | S2F24 <B 0x05>. | <TRID>{form}@ | {t}
S2F23 W <L <U4 0> <A "000001"> <U4 5> <U1 2> <L>>. | S2F24 <B 0x06>. | {trid}@ | {t}
S2F23 W <L <U4 65536> <A "000001"> <U4 5> <U1 2> <L>>. | S2F24 <B 0x06>. | {trid}@ | {t}
S2F23 W <L <U4 1> <A "000001"> <I4 -1> <U1 2> <L>>. | S2F24 <B 0x03>. | {total}@ | {t}
S2F23 W <L <U4 1> <A "000001"> <U4 2100000001> <U1 2> <L>>. | S2F24 <B 0x03>. | {total}@ | {t}
S2F23 W <L <U4 1> <A "000001"> <B 1> <U1 2> <L>>. | S2F24 <B 0x05>. | <TOTSMP>{form}@ | {t}
S2F23 W <L <U4 1> <A "000001"> <U4 5> <L> <L>>. | S2F24 <B 0x05>. | <REPGSZ>{form}@ | {t}
S2F23 W <L {good} <L <U4 1> <F8 2> <U4 2000>>>. | S2F24 <B 0x05>. | <SVID1>{form}@ | {t}
S2F23 W <L {good} <L <U4 1> <U4 2000> <A "z">>>. | S2F24 <B 0x04>. | <SVID1>:2000 未识别. @<SVID2>:0 未识别. @ | {t}
S2F23 W <L {good} <L{1001}>>. | S2F24 <B 0x01>. | <SVIDs> 数量超限, 必须是 <= 1000. @ | {t}
S2F23 W <L <U4 0> <A "1"> <U4 5> <U1 2> <L <U4 2000>>>. | S2F24 <B 0x06>. | {trid}@{dsper}@<SVID0>:2000 未识别. @ | {t}
S2F23 W <L {good} <U4 1>>. | none | L[4] 格式错误, 必须是 L. @ | {t}
S2F23 W <L {good}>. / S2F23 W. | none | 消息头格式错误 , 必须是 L5. @ | {t}
)";
    std::string full = with(table, "t", "t7 000002=2000ms 4/9 by 1:5 {other}");
    full = with(full, "other", "t6 000003=3000ms 0/9 by 1:");
    full = with(with(full, "good", "<U4 1> <A \"000001\"> <U4 5> <U1 2>"), "1001", many(1001));
    full = with(with(full, "trid", "<TRID> 数值超限 , 范围是 [1,65535]. "), "dsper",
                "<DSPER> 格式错误 , 必须是 A(hhmmss , 6 bytes). ");
    run(with(full, "total", "<TOTSMP> 数值超限 , 范围是 [0,2100000000]. "), traces);
    console.clear();
    const std::string nine = "S2F23 W <L <U4 9> <A \"000001\"> ";
    EXPECT_EQ(answer_to(nine + "<U4 5> <U1 2> <L" + many(1000) + ">>."), "S2F24 <B 0x00>.");
    answer_to(nine + "<U4 0> <U1 2> <L>>.");
    EXPECT_EQ(console, (fake::Texts{"Talwen::BC_FA::reply_S02F23 , Add TRID:9.",
                                    "Talwen::BC_FA::reply_S02F23 , Remove TRID:9."}));
}

TEST_F(S02Definitions, DefineReport) {
    // What comes before the fault stays.
    const std::string table = R"(
S2F33 W <L <U4 0> <L <L <U2 65535> <L <I8 65535> <A "1"> <U1 1>>>>>. | S2F34 <B 0x00>. | | {r} r65535@0:65535,1,1 {e}
S2F33 W {good} <L <U4 2> <L <U4 5>>>>>. | S2F34 <B 0x00>. | | {r} r1@5:4 r2@5:5 {e}
S2F33 W <L <U4 9> <L <L <U4 20> <L>>>>. | S2F34 <B 0x00>. | | r10@1:1,2 e100@1+:10 e200@2-:
S2F33 W <L <U4 9> <L <L <U4 20> <L>> <L <U4 10> <L>> <L <U4 0> <L>>>>. | S2F34 <B 0x05>. | <RPTID>{range}@ | e100@1+: e200@2-:
S2F33 W <L <U4 9> <L <L <U4 99> <L>>>>. / S2F33 W <L <U4 3> <L>>. | S2F34 <B 0x00>. | | {r} {e}
S2F33 W <L <U4 9> <L <L <U4 10> <L>> <L <U4 10> <L <U4 7>>>>>. | S2F34 <B 0x00>. | | r20@2:3 r10@9:7 e100@1+:20 e200@2-:20
S2F33 W <L <U4 2> <L>>. | S2F34 <B 0x00>. | | r10@1:1,2 e100@1+:10,20 e200@2-:
S2F33 W {good} <L <U4 2> <L{51}>>>>. | S2F34 <B 0x01>. | | {r} r1@5:4 {e}
S2F33 W {good} <L <U4 10> <L <U4 5>>> <L <U4 2> <L <U4 5>>>>>. | S2F34 <B 0x03>. | | {r} r1@5:4 {e}
S2F33 W {good} <L <U4 2> <L <U4 5> <U4 61> <F4 1>>>>>. | S2F34 <B 0x04>. | | {r} r1@5:4 {e}
S2F33 W {good} <L <U4 0> <L <U4 5>>>>>. | S2F34 <B 0x05>. | <RPTID>{range}@ | {r} r1@5:4 {e}
S2F33 W <L <U4 5> <L <L <U8 4294967306> <L>>>>. / S2F33 W <L <U4 5> <L <L <A "4294967306"> <L>>>>. | S2F34 <B 0x05>. | <RPTID>{range}@ | {r} {e}
S2F33 W <L <U4 5> <L <L <U4 65536> <L>>>>. | S2F34 <B 0x05>. | <RPTID>{range}@ | {r} {e}
S2F33 W <L <U4 5> <L <L <U4 2> <L <U4 65536>>>>>. | S2F34 <B 0x06>. | <RVID>{range}@ | {r} {e}
S2F33 W <L <U4 5> <L <L <U4 2> <L <A "Door">>>>>. | S2F34 <B 0x06>. | <RVID>{range}@ | {r} {e}
S2F33 W <L <U4 70000> <U4 1>>. | S2F34 <B 0x06>. | <DATAID>: 70000 数值超限, 有效范围[1, 65535].@ | {r} {e}
S2F33 W <L <I4 -1> <L>>. | S2F34 <B 0x06>. | <DATAID>: -1 数值超限, 有效范围[1, 65535].@ | {r} {e}
S2F33 W {good} <L <U4 2> <L <U4 5> <BOOLEAN T>>>>>. | none | L[1][1][1][1]<RVID>{form}@ | {r} r1@5:4 {e}
S2F33 W {good} <L <U4 2> <U4 5>>>>. | none | L[1][1][1] 格式错误 , 必须是 L. @ | {r} r1@5:4 {e}
S2F33 W {good} <L <F4 2> <L>>>>. | none | L[1][1][0]<RPTID>{form}@ | {r} r1@5:4 {e}
S2F33 W {good} <L <U4 2>>>>. | none | L[1][1] RPTIDn 格式错误 , 必须是 L2. @ | {r} r1@5:4 {e}
S2F33 W <L <U4 5> <U4 1>>. | none | L[1] 格式错误 , 必须是 L. @ | {r} {e}
S2F33 W <L <L> <L>>. | none | <DATAID> 格式错误 , I()/U()/A. @ | {r} {e}
S2F33 W <L <U4 5>>. / S2F33 W. | none | 消息头格式错误 , 必须是 L2. @ | {r} {e}
)";
    const std::string full = with(with(table, "51", many(51)), "range", " 数值超限 , 有效范围[1,65535]. ");
    run(with(full, "good", "<L <U4 5> <L <L <U4 1> <L <U4 4>>>"), definitions);
    EXPECT_EQ(answer_to("S2F33 W <L <U4 65535> <L <L <U4 1> <L" + many(50) + ">>>>."), "S2F34 <B 0x00>.");
}

TEST_F(S02Definitions, LinkEventReport) {
    const std::string table = R"(
S2F35 W <L <U4 70000> <L <L <U4 0> <L <U1 20> <A "10"> <I2 20>>>>>. | S2F36 <B 0x00>. | | {r} {e} e0@70000-:20,10,20
S2F35 W <L <U4 9> <L <L <U4 4294967295> <L <U4 10>>> <L <U8 4294967396> <L <U4 10>>>>>. | S2F36 <B 0x00>. | | {r} {e} e-1@9-:10 e2147483647@9-:10
S2F35 W <L <U4 9> <L <L <U4 100> <L>>>>. | S2F36 <B 0x00>. | | {r} e200@2-:20
S2F35 W <L <U4 9> <L <L <U4 100> <L>> <L <U4 100> <L <U4 10>>>>>. | S2F36 <B 0x00>. | | {r} e200@2-:20 e100@9-:10
S2F35 W <L <U4 2> <L>>. | S2F36 <B 0x00>. | | {r} e100@1+:10,20 || S2F35 W <L <U4 3> <L>>. | S2F36 <B 0x00>. | | {r} {e}
S2F35 W {good} <L <U4 2> <L{51}>>>>. | S2F36 <B 0x01>. | | {r} {e} e1@5-:10
S2F35 W {good} <L <U4 200> <L <U4 10>>>>>. | S2F36 <B 0x03>. | | {r} {e} e1@5-:10
S2F35 W {good} <L <U4 2> <L>>>>. | S2F36 <B 0x04>. | | {r} {e} e1@5-:10
S2F35 W {good} <L <U4 2> <L <U4 20> <U4 11> <F4 1>>>>>. | S2F36 <B 0x05>. | | {r} {e} e1@5-:10
S2F35 W {good} <L <U4 2> <L <U4 10> <F4 1>>>>>. | none | L[1][1][1] <RPTID>[1]{form}@ | {r} {e} e1@5-:10
S2F35 W {good} <L <U4 2> <U4 10>>>>. | none | L[1][1][1] 格式错误 , 必须是 L. @ | {r} {e} e1@5-:10
S2F35 W {good} <L <B 2> <L>>>>. | none | L[1][1][0] <CEID>{form}@ | {r} {e} e1@5-:10
S2F35 W {good} <U4 2>>>. | none | L[1][1] 格式错误 , 必须是 L2. @ | {r} {e} e1@5-:10
S2F35 W <L <U4 5> <A "">>. | none | L[1] 格式错误 , 必须是 L. @ | {r} {e}
S2F35 W <L <F4 5> <L>>. | none | <DATAID>{form}@ | {r} {e}
S2F35 W <L <U4 5> <L> <L>>. | none | 消息头格式错误 , 必须是 L2. @ | {r} {e}
)";
    run(with(with(table, "51", many(51)), "good", "<L <U4 5> <L <L <U4 1> <L <U4 10>>>"), definitions);
    for (int rptid = 1; rptid <= 50; ++rptid) RPTID_List.append({0, rptid, "", {}});
    EXPECT_EQ(answer_to("S2F35 W <L <U4 5> <L <L <U4 1> <L" + many(50) + ">>>>."), "S2F36 <B 0x00>.");
}

TEST_F(S02Definitions, OfTheControllerNewEventsAreDisabledAndOneEventsLinksCanBeCleared) {
    EXPECT_TRUE(module->QFA_Add_CEID_List({5, 300, true, "", "", {10}}));
    EXPECT_FALSE(module->QFA_Add_CEID_List({6, 300, true, "", "", {}}));
    EXPECT_TRUE(module->QFA_Remove_All_RPTID_From_CEID_Stru(100));
    EXPECT_EQ(definitions(), "r10@1:1,2 r20@2:3 e100@1+: e200@2-:20 e300@5-:10");
    EXPECT_TRUE(module->QFA_Remove_All_RPTID_From_CEID_List(10));
}

TEST_F(S02Definitions, EnableEventReport) {
    run(R"(
S2F37 W <L <BOOLEAN T> <L <U4 200>>>. | S2F38 <B 0x00>. | | {r} e100@1+:10,20 e200@2+:20
S2F37 W <L <BOOLEAN 5> <L <A "200"> <I4 100>>>. | S2F38 <B 0x00>. | | {r} e100@1+:10,20 e200@2+:20
S2F37 W <L <BOOLEAN F> <L <U4 100>>>. | S2F38 <B 0x00>. | | {r} e100@1-:10,20 e200@2-:20
S2F37 W <L <BOOLEAN T> <L>>. | S2F38 <B 0x00>. | | {r} e100@1+:10,20 e200@2+:20
S2F37 W <L <BOOLEAN F> <L>>. | S2F38 <B 0x00>. | | {r} e100@1-:10,20 e200@2-:20
S2F37 W <L <BOOLEAN T> <L <U4 200> <U4 1>>>. | S2F38 <B 0x01>. | | {r} {e}
S2F37 W <L <U1 1> <U4 9>>. | S2F38 <B 0x02>. | <CEED> 格式错误 , 必须是 Boolean @ | {r} {e}
S2F37 W <L <BOOLEAN T> <U4 200>>. | none | | {r} {e}
S2F37 W <L <BOOLEAN T> <L <U4 200> <F4 100>>>. | none | L[1][1] 格式错误 , Must U()/I()/A . @ | {r} {e}
S2F37 W <L <BOOLEAN T>>. | none | 消息头格式错误 , 必须是 L2. @ | {r} {e}
)",
        definitions);
    define_start();
    const auto held = CEID_List.find(200);
    answer_to("S2F37 W <L <BOOLEAN T> <L <U4 200>>>.");
    EXPECT_TRUE(held->enable) << "the record that a reader holds is the one that is switched";
}

}  // namespace
