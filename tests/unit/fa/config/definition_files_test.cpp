#include <algorithm>

#include "config_fixture.h"

namespace {

using namespace fa_test;
using Talwen::BC_FA;

struct Definitions {
    const char* list;
    bool (BC_FA::*load)();
    bool (BC_FA::*save)();
};
constexpr Definitions kinds[] = {{"RPTID", &BC_FA::FILE_GET_ALL_RPTID, &BC_FA::FILE_SAVE_ALL_RPTID},
                                 {"CEID", &BC_FA::FILE_GET_ALL_CEID, &BC_FA::FILE_SAVE_ALL_CEID},
                                 {"TRID", &BC_FA::FILE_GET_ALL_TRID, &BC_FA::FILE_SAVE_ALL_TRID},
                                 {"TMSG", &BC_FA::FILE_GET_ALL_TMSG, &BC_FA::FILE_SAVE_ALL_TMSG}};

class Definition_Files_Test : public Config_Test {
  protected:
    /// Variables 5 (Door), 6 (Temp), 7 (Flow) and 9 (Temp again); for events the reports 10 and 20.
    void begin(const Definitions& kind) {
        load_module();
        for (const auto add : {&BC_FA::QFA_Add_RVID_List, &BC_FA::QFA_Add_SVID_List}) {
            std::string variables = "5&0&0&1&0&0&d|9&0&1&1&0&0&t|6&0&1&1&0&0&t|7&1&1&1&0&0&f";
            (module.get()->*add)(variables.data());
        }
        if (kind.load != kinds[1].load) return;
        for (const int report : {10, 20}) module->QFA_Add_RPTID_List({0, report, "", {}});
    }
    bool load(const Definitions& kind) { return (module.get()->*kind.load)(); }
    bool save(const Definitions& kind) { return (module.get()->*kind.save)(); }
};

// List, bytes of its file ("/" ends a line), records, and the red lines, each ended by "@" and its place in
// the file. A name means its smallest number; a report that goes on moves to the end.
const char* const files = R"(
RPTID | / 3 10 5,7 "two  "links"{bytes}"{cr}/-1 11{tab}6{cr}/ | 3 10 [5,7] two  links{bytes};-1 11 [6] ;
RPTID | 1 10 Temp,Door,+7 | 1 10 [6,5,7] ;
RPTID | 1 10 8,temp,,-,5,x{498}xx | 1 10 [5] ; | RVID:8 未识别.@1RVID:temp 未识别.@1RVID: 未识别.@1RVID:- 未识别.@1RVID:x{498} 未识别.@1
RPTID | /1 10 5,6,5,Temp,9 | 1 10 [5,6,9] ; | RTPID:10 的LinkVID:5:Door 链接重复.@2RTPID:10 的LinkVID:6:Temp 链接重复.@2
RPTID | 1 10 5 first/#/2 10 6 second | 1 10 [5] first; | RPTID:10 重复定义!.@3
RPTID | 1 10 5,6, first/2 10 7 second/ | 1 10 [5,6,7] first;
RPTID | 1 10 5, a/1 11 6 b/1 10 7, c/1 10 9 d/1 10 9 e | 1 11 [6] b;1 10 [5,7,9] a; | RPTID:10 重复定义!.@5
RPTID | 1 10 5,//1 10 5,6 | 1 10 [5,6] ; | RTPID:10 的LinkVID:5:Door 链接重复.@3
CEID | 1 100 10,20 Up "all "up"{bytes}"{cr}/2 101 - Down/3 102 | 1 100 [10,20] Up!all up{bytes};2 101 [] Down!;3 102 [] !;
CEID | 1 100 10,-,11,--20,20--,10,,20 E d | 1 100 [10,20] E!d; | RPTID:11 未识别.@1CEID:100 的RPTID:10 链接重复!@1RPTID:0 未识别.@1
CEID | 1 100 10 A//2 100 20,30 B/2 101 20, C | 1 100 [10] A!;2 101 [20] C!; | RPTID:30 未识别.@3CEID 重复定义!.@3
TRID | 1 000130 10 2 5,6 "slow"/2 010203 -1 0 - d/3 99xx0- 1 1 7 | 1 000130=90000 10 2 [5,6] slow;2 010203=3723000 -1 0 [] d;3
    99xx0-=356400000 1 1 [7] ;
TRID | 4 000130 1 1 5/5 130 4 2 6 kept/6 0001300 | 4 000130=90000 1 1 [5] ;5 130=0 4 2 [6] kept;6 0001300=0 0 0 [] ; |
    DSPER:130 格式错误, 应遵循格式 HHMMSS 占位6个字节.@2DSPER:0001300 格式错误, 应遵循格式 HHMMSS 占位6个字节.@3
TRID | 1 000001 1 1 8,5,-,a--,6 | 1 000001=1000 1 1 [5,6] ; | SVID:8 未识别.@1
TRID | 1 000001 1 1 5,6,5 | 1 000001=1000 1 1 [5,6] ; | TRID:1 的 LINKSVID:5 链接重复!.@1
TRID | 1 000001/1 000002/2 000001 | 1 000001=1000 0 0 [] ;2 000001=1000 0 0 [] ; | TRID 定义重复!.@2
TMSG | 2  "two  "words"{bytes}"/1 one{return}again{cr}/-3/ | -3 ;1 one again;2 two  words{bytes};
TMSG | 1 first/#/1 second/2 last | 1 first;2 last; | TID 定义重复! @3
)";

TEST_F(Definition_Files_Test, TakesWhatIsGoodAndNamesWhatIsNot) {
    std::string table = with(with(files, "498", std::string(498, 'N')), "bytes", "\xB0\xFF");
    table = with(with(with(table, "tab", "\t"), "cr", "\r"), "return", "\r");
    for (const Texts& row : fake::rows(table, 4)) {
        SCOPED_TRACE(row[1]);
        const Definitions& kind = *std::ranges::find(kinds, row[0], &Definitions::list);
        begin(kind);
        write(primary + row[0] + ".cfg", fake::replaced(row[1], "/", "\n"));
        // Traces and messages with a fault are loaded with a false result.
        EXPECT_EQ(load(kind), row[3].empty() || row[0] == "RPTID" || row[0] == "CEID");
        EXPECT_EQ(listed(row[0]), row[2]);
        std::string all;
        for (const std::string& text : printed()) all += text;
        EXPECT_EQ(all, fake::replaced(
                           fake::replaced(row[3], "(^|@.)(?=.)", "$1r "), "@(.)",
                           "[文件行:Z:\\FA\\" + row[0] + ".cfg:$1][代码行:FILE_GET_ALL_" + row[0] + ":#]"));
        EXPECT_TRUE(sim::open_files().empty());
    }
}

// List, what is loaded first, the titles and the fields written, each with its width ("+" is a blank, "~"
// begins a row), and what the count says.
const char* const layouts = R"(
RPTID | 3 10 5,6 "a b"/4 11 | DATAID:11 RPTID:11 LINKVID:51 DESCRIPTION:128 | 3:11 10:11 5,6:51 "a+b":128 ~ 4:11 11:11 -:51 "":128 | RPTID 数量: 2
CEID | 3 10 10,20 Up "a b" | DATAID:11 CEID:11 LINKRPTID:51 EVENTNAME:33 DESCRIPTION:128 | 3:11 10:11 10,20:51 Up:33 ":1 a+b:128 ":1 | CEID 数量:1
TRID | 3 000130 8 2 - "a b" | TRID:11 DSPER:11 TOTSMP:11 REPGSZ:11 LINKSVID:61 DESCRIPTION:128 | 3:11 000130:11 8:11 2:11 -:61
    ":1 a+b:128 ":1 | TRID 数量: 1
TMSG | 4 "a b" | TID:11 TMESSAGE:128 | 4:11 ":1 a+b:128 ":1 | TMSG 数量: 1
)";

TEST_F(Definition_Files_Test, WritesAFixedLayoutThatLoadsBack) {
    const std::string dashes = '#' + std::string(113, '-') + '\n';
    for (const Texts& row : fake::rows(layouts, 5)) {
        SCOPED_TRACE(row[0]);
        const Definitions& kind = *std::ranges::find(kinds, row[0], &Definitions::list);
        const std::string file = row[0] + ".cfg";
        begin(kind);
        write(primary + file, fake::replaced(row[1], "/", "\n"));
        ASSERT_TRUE(load(kind) && save(kind));
        const std::string written = read(primary + file);
        EXPECT_EQ(written, dashes + "#" + columns(row[2]) + dashes + " " + columns(row[3], "\n "));
        begin(kind);
        printed();
        set_states("PrnChk=1");
        EXPECT_TRUE(load(kind));
        EXPECT_EQ(printed().back(), "g Z:\\FA\\" + file + " 获取 " + row[4]);
        ASSERT_TRUE(save(kind));
        EXPECT_EQ(read(primary + file), written);
        block(primary + file);
        EXPECT_FALSE(save(kind));
        EXPECT_EQ(printed(), Texts{"r [Z:\\FA\\" + file + "] 文件保存失败!"});
    }
}

TEST_F(Definition_Files_Test, AReportOfManyVariablesIsWrittenInLinesThatLoad) {
    Talwen::RPTID_STRU report{1, 10, "many", {}};
    std::vector<Talwen::RVID_STRU> variables(1000);
    for (int id = 100001; id <= 101000; ++id) {
        report.LINKVID.push_back(id);
        variables[static_cast<std::size_t>(id - 100001)].id = id;
    }
    Talwen::RVID_List.put(variables);
    module->QFA_Add_RPTID_List(report);
    module->QFA_Add_RPTID_List({1, 20, std::string(900, 'd'), report.LINKVID});
    module->QFA_Add_RPTID_List({-2147483647, -2147483647, std::string(945, 'd') + "{cut}", {100001}});
    const std::string before = with(listed("RPTID"), "cut", "");
    ASSERT_TRUE(module->FILE_SAVE_ALL_RPTID());
    Talwen::RPTID_List.clear();
    EXPECT_TRUE(module->FILE_GET_ALL_RPTID());
    EXPECT_EQ(printed(), Texts{});
    EXPECT_EQ(listed("RPTID"), before);
}

}  // namespace
