#include "config_fixture.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "sim/file_layer.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

using Talwen::BC_FA;

struct Definitions {
    const char* list;
    bool (BC_FA::*load)();
    bool (BC_FA::*save)();
};
constexpr Definitions reports{"RPTID", &BC_FA::FILE_GET_ALL_RPTID, &BC_FA::FILE_SAVE_ALL_RPTID};
constexpr Definitions events{"CEID", &BC_FA::FILE_GET_ALL_CEID, &BC_FA::FILE_SAVE_ALL_CEID};
constexpr Definitions traces{"TRID", &BC_FA::FILE_GET_ALL_TRID, &BC_FA::FILE_SAVE_ALL_TRID};
constexpr Definitions messages{"TMSG", &BC_FA::FILE_GET_ALL_TMSG, &BC_FA::FILE_SAVE_ALL_TMSG};

class Definition_Files_Test : public Config_Test {
  protected:
    /// Variables 5 (Door), 6 (Temp), 7 (Flow) and 9 (Temp again); for events the reports 10 and 20.
    void start_over(const Definitions& kind) {
        forget_tables();
        for (const auto add : {&BC_FA::QFA_Add_RVID_List, &BC_FA::QFA_Add_SVID_List}) {
            std::string variables = "5&0&0&1&0&0&d|9&0&1&1&0&0&t|6&0&1&1&0&0&t|7&1&1&1&0&0&f";
            (fa.*add)(variables.data());
        }
        if (kind.load != events.load) return;
        fa.QFA_Add_RPTID_List({0, 10, "", {}});
        fa.QFA_Add_RPTID_List({0, 20, "", {}});
    }
};

}  // namespace

TEST_F(Definition_Files_Test, TakesWhatIsGoodAndNamesWhatIsNot) {
    const std::string n498(498, 'N');
    const struct {
        Definitions kind;
        std::string bytes;
        std::string records;
        std::string printed;  // red lines, each ended by "@" and where it stands in the file
        bool result = true;
    } table[] = {
        {reports, " 3 10 5,7 \"two  \"links\"\xB0\xFF\"\n-1 11\t6\r\n",
         "3 10 [5,7] two  links\xB0\xFF; -1 11 [6] ", ""},
        {reports, "1 10 Temp,Door,+7", "1 10 [6,5,7] ", ""},  // the smallest number of a name
        {reports, "1 10 8,temp,,-,5,x" + n498 + "xx", "1 10 [5] ",
         "RVID:8 未识别.@1RVID:temp 未识别.@1RVID: 未识别.@1RVID:- 未识别.@1RVID:x" + n498 + " 未识别.@1"},
        {reports, "\n1 10 5,6,5,Temp,9", "1 10 [5,6,9] ",
         "RTPID:10 的LinkVID:5:Door 链接重复.@2RTPID:10 的LinkVID:6:Temp 链接重复.@2"},
        {reports, "1 10 5 first\n#\n2 10 6 second", "1 10 [5] first", "RPTID:10 重复定义!.@3"},
        {reports, "1 10 5,6, first\n2 10 7 second\n", "1 10 [5,6,7] first", ""},
        // a report that goes on moves to the end
        {reports, "1 10 5, a\n1 11 6 b\n1 10 7, c\n1 10 9 d\n1 10 9 e", "1 11 [6] b; 1 10 [5,7,9] a",
         "RPTID:10 重复定义!.@5"},
        {reports, "1 10 5,\n\n1 10 5,6", "1 10 [5,6] ", "RTPID:10 的LinkVID:5:Door 链接重复.@3"},

        {events, "1 100 10,20 Up \"all \"up\"\xFE\"\r\n2 101 - Down\n3 102",
         "1 100 [10,20] Up|all up\xFE; 2 101 [] Down|; 3 102 [] |", ""},
        {events, "1 100 10,-,11,--20,20--,10,,20 E d", "1 100 [10,20] E|d",
         "RPTID:11 未识别.@1CEID:100 的RPTID:10 链接重复!@1RPTID:0 未识别.@1"},
        {events, "1 100 10 A\n\n2 100 20,30 B\n2 101 20, C", "1 100 [10] A|; 2 101 [20] C|",
         "RPTID:30 未识别.@3CEID 重复定义!.@3"},

        {traces, "1 000130 10 2 5,6 \"slow\"\n2 010203 -1 0 - d\n3 99xx0- 1 1 7",
         "1 000130=90000 10 2 [5,6] slow; 2 010203=3723000 -1 0 [] d; 3 99xx0-=356400000 1 1 [7] ", ""},
        {traces, "4 000130 1 1 5\n5 130 4 2 6 kept\n6 0001300",
         "4 000130=90000 1 1 [5] ; 5 130=0 4 2 [6] kept; 6 0001300=0 0 0 [] ",
         "DSPER:130 格式错误, 应遵循格式 HHMMSS 占位6个字节.@2"
         "DSPER:0001300 格式错误, 应遵循格式 HHMMSS 占位6个字节.@3",
         false},
        {traces, "1 000001 1 1 8,5,-,a--,6", "1 000001=1000 1 1 [5,6] ", "SVID:8 未识别.@1", false},
        {traces, "1 000001 1 1 5,6,5", "1 000001=1000 1 1 [5,6] ", "TRID:1 的 LINKSVID:5 链接重复!.@1",
         false},
        {traces, "1 000001\n1 000002\n2 000001", "1 000001=1000 0 0 [] ; 2 000001=1000 0 0 [] ",
         "TRID 定义重复!.@2", false},

        {messages, "2  \"two  \"words\"\xFF\"\n1 one\ragain\r\n-3\n", "-3 ; 1 one again; 2 two  words\xFF",
         ""},
        {messages, "1 first\n#\n1 second\n2 last", "1 first; 2 last", "TID 定义重复! @3", false},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.bytes);
        const std::string list = row.kind.list;
        start_over(row.kind);
        write(primary + list + ".cfg", row.bytes);
        EXPECT_EQ((fa.*row.kind.load)(), row.result);
        EXPECT_EQ(listed(list), row.records);
        std::string all;
        for (const std::string& text : printed()) all += text;
        std::string expected;
        for (std::size_t at = 0, end = 0; (end = row.printed.find('@', at)) != std::string::npos;
             at = end + 2)
            expected += "r " + row.printed.substr(at, end - at) + "[文件行:Z:\\FA\\" + list +
                        ".cfg:" + row.printed[end + 1] + "][代码行:FILE_GET_ALL_" + list + ":#]";
        EXPECT_EQ(all, expected);
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_F(Definition_Files_Test, WritesAFixedLayoutThatLoadsBack) {
    const auto pad = [](std::string text, std::size_t width) {
        return text + std::string(width - text.size(), ' ');
    };
    const std::string dashes = '#' + std::string(113, '-') + '\n';
    const struct {
        Definitions kind;
        std::string bytes;  // loaded first, then written as
        std::string head;
        std::string rows;
        std::string count;
    } table[] = {
        {reports, "3 10 5,6 \"a b\"\n4 11",
         pad("DATAID", 11) + pad("RPTID", 11) + pad("LINKVID", 51) + pad("DESCRIPTION", 128),
         " 3          10         " + pad("5,6", 51) + pad("\"a b\"", 128) + "\n 4          11         " +
             pad("-", 51) + pad("\"\"", 128) + "\n",
         "RPTID 数量: 2"},
        {events, "3 10 10,20 Up \"a b\"",
         pad("DATAID", 11) + pad("CEID", 11) + pad("LINKRPTID", 51) + pad("EVENTNAME", 33) +
             pad("DESCRIPTION", 128),
         " 3          10         " + pad("10,20", 51) + pad("Up", 33) + '"' + pad("a b", 128) + "\"\n",
         "CEID 数量:1"},
        {traces, "3 000130 8 2 - \"a b\"",
         pad("TRID", 11) + pad("DSPER", 11) + pad("TOTSMP", 11) + pad("REPGSZ", 11) + pad("LINKSVID", 61) +
             pad("DESCRIPTION", 128),
         " 3          000130     8          2          " + pad("-", 61) + '"' + pad("a b", 128) + "\"\n",
         "TRID 数量: 1"},
        {messages, "4 \"a  b\"", pad("TID", 11) + pad("TMESSAGE", 128),
         " 4          \"" + pad("a  b", 128) + "\"\n", "TMSG 数量: 1"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.kind.list);
        const std::string path = primary + std::string(row.kind.list) + ".cfg";
        start_over(row.kind);
        write(path, row.bytes);
        ASSERT_TRUE((fa.*row.kind.load)());
        ASSERT_TRUE((fa.*row.kind.save)());
        const std::string written = read(path);
        EXPECT_EQ(written, dashes + "#" + row.head + "\n" + dashes + row.rows);

        start_over(row.kind);
        printed();
        sim::machine().set_gem("PrnChk", 1);
        EXPECT_EQ((fa.*row.kind.load)(), true);
        EXPECT_EQ(printed().back(), "g Z:\\FA\\" + path.substr(5) + " 获取 " + row.count);
        ASSERT_TRUE((fa.*row.kind.save)());
        EXPECT_EQ(read(path), written);

        std::filesystem::remove(folder() / path);
        std::filesystem::create_directories(folder() / path);
        EXPECT_FALSE((fa.*row.kind.save)());
        EXPECT_EQ(printed(), Texts{"r [Z:\\FA\\" + path.substr(5) + "] 文件保存失败!"});
    }
}

TEST_F(Definition_Files_Test, AReportOfManyVariablesIsWrittenInLinesThatLoad) {
    Talwen::RPTID_STRU report{1, 10, "many", {}};
    for (int id = 100001; id <= 101000; ++id) {
        report.LINKVID.push_back(id);
        Talwen::RVID_List[id].id = id;
    }
    fa.QFA_Add_RPTID_List(report);
    fa.QFA_Add_RPTID_List({1, 20, "next", {100001}});
    const std::string before = listed("RPTID");
    ASSERT_TRUE(fa.FILE_SAVE_ALL_RPTID());
    Talwen::RPTID_List.clear();
    EXPECT_TRUE(fa.FILE_GET_ALL_RPTID());
    EXPECT_EQ(printed(), Texts{});
    EXPECT_EQ(listed("RPTID"), before);
}

}  // namespace fa_test
