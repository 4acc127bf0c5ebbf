// What every loader does alike: where the file lies, how lines are read and counted.
#include "config_fixture.h"

namespace {

using namespace fa_test;
using Talwen::BC_FA;

// File; a line that loads and another one for the same thing; what they give; what is said without a file,
// with the fallback's path; of a long line, {at} line 3; a line that ends the load; its message, {at} line 4.
const char* const loaders = R"(
FA_SAVE.inf | T3 11 | T3 12 | 11 | 12 | 文件打开失败. | 参数过长. {at} | T33 12 | 配置项未识别:T33 {at}
SVID.cfg | 7 Door U1 1 V "d" | 7 Temp F4 1 V "t" | 7=Door | 7=Temp | 文件读取失败. | 参数过长. {at}
  | 8 Door U8 1 V "d" | IONAME:Door  - TYPE:U8 未识别. {at}
RVID.cfg | 7 Door U1 1 V "d" | 7 Temp F4 1 V "t" | 7=Door | 7=Temp | 文件读取失败. | 参数过长. {at}
  | 8 Door U8 1 V "d" | IONAME:Door  - TYPE:U8 未识别.{at}
ECID.cfg | 7 Door U1 1 V "d" | 7 Temp F4 1 V "t" | 7=Door | 7=Temp | 文件读取失败.
  | Parameter Too Long - [Z:\FA\ECID.cfg]-[Line:3] | 8 Door U8 1 V "d"
  | FA/ECID.cfg  Name:Door  - Type:U8 Unknown [Line:4]
RPTID.cfg | 1 7 | 2 7 | 1 7 [] ; | 2 7 [] ; | 文件打开失败. | 参数过长. {at}
CEID.cfg | 1 7 - E | 2 7 | 1 7 [] E!; | 2 7 [] !; | 文件打开失败. | 参数过长 - {at}
TRID.cfg | 7 000001 9 1 - d | 7 000002 | 7 000001=1000 9 1 [] d; | 7 000002=2000 0 0 [] ;
  | 文件读取失败. | 参数过长. {at}
TMSG.cfg | 7 "a" | 7 b | 7 a; | 7 b; | 文件读取失败. | 参数过长. {at}
SPOOLING.inf | 5,1 | 6,11 | 5,1 | 6,11 | 文件不存在. | 参数过长 - {at}
)";

constexpr bool (BC_FA::*operations[])() = {
    &BC_FA::FILE_SYSTEM_SETUP, &BC_FA::FILE_GET_ALL_SVID,  &BC_FA::FILE_GET_ALL_RVID,
    &BC_FA::FILE_GET_ALL_ECID, &BC_FA::FILE_GET_ALL_RPTID, &BC_FA::FILE_GET_ALL_CEID,
    &BC_FA::FILE_GET_ALL_TRID, &BC_FA::FILE_GET_ALL_TMSG,  &BC_FA::FILE_GET_ALL_SPOOLING};

template <class Table>
std::string names_of(const Table& table) {
    std::string names;
    for (const auto& [id, record] : *table.read()) names += std::to_string(id) + '=' + record->sv_name;
    return names;
}

class Loader_Test : public Config_Test, public testing::WithParamInterface<std::size_t> {
  protected:
    const Texts row = fake::rows(loaders, 9)[GetParam()];
    const std::string &file = row[0], &line = row[1], &other_line = row[2], &loaded = row[3],
                      &other_loaded = row[4], &refused = row[7];
    const std::string name = file.substr(0, file.find('.'));
    const std::string primary_file = primary + file, fallback_file = fallback + file;
    const std::size_t longest = name == "SPOOLING" ? 1022 : 1023;  // bytes of a line

    bool load() { return (module.get()->*operations[GetParam()])(); }
    /// A message about that line of the file.
    std::string about(const std::string& text, int number) const {
        const std::string function = name == "FA_SAVE" ? "SYSTEM_SETUP" : "GET_ALL_" + name;
        return "r " + with(text, "at",
                           "[文件行:Z:\\FA\\" + file + ":" + std::to_string(number) + "][代码行:FILE_" +
                               function + ":#]");
    }
    std::string state() const {
        if (name == "FA_SAVE") return fa("T3") == 0 ? "" : sim::machine().fa("T3");
        return names_of(Talwen::SVID_List) + names_of(Talwen::RVID_List) + names_of(Talwen::ECID_List) +
               listed(name);
    }
    /// What is printed for the line that loads, then `more`.
    Texts said(const Texts& more = {}) const {
        Texts all = name == "SPOOLING" ? Texts{"g S5,F1\tGET SPOOLING"} : Texts{};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
};

TEST_P(Loader_Test, ReadsThePrimaryFileElseTheFallback) {
    EXPECT_EQ(load(), name == "SPOOLING");
    EXPECT_EQ(state(), "");
    EXPECT_EQ(printed(), Texts{"r [J:\\Talwen\\Config\\FA\\" + file + "] " + row[5]});
    write(fallback_file, other_line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(state(), other_loaded);
    load_module();
    printed();
    write(primary_file, line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(state(), loaded);
    EXPECT_EQ(printed(), said());
}

TEST_P(Loader_Test, LoadsWhatIsThereHoweverItsLinesEnd) {
    const std::string full = line + std::string(longest - line.size(), ' ');
    const std::pair<std::string, bool> table[] = {
        {"", false},
        {"\n\r\n  \t \n# a comment\n#" + std::string(3000, '-'), false},
        {line, true},  // no line end at all
        {line + "\r\n", true},
        {" \t" + line + " \t\r\n", true},
        {"#x\n\n" + line + "\n\n#y", true},
        {"#" + std::string(3000, '-') + "\n" + line + "\n", true},  // a comment may be of any length
        {full + "\n", true},
        {full + "\r\n", true},  // not counting its end
    };
    for (const auto& [bytes, loads] : table) {
        SCOPED_TRACE(bytes.substr(0, 80));
        load_module();
        sim::machine().set_fa("T3", 0);
        write(primary_file, bytes);
        EXPECT_TRUE(load());
        EXPECT_EQ(state(), loads ? loaded : "");
        EXPECT_EQ(printed(), loads ? said() : Texts{});
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_P(Loader_Test, EndsAtALineThatIsTooLongOrUnknown) {
    const std::string good = "# head\n" + line + "\n";
    for (const std::size_t length : {longest + 1, std::size_t{1024}, std::size_t{1025}, std::size_t{5000}}) {
        SCOPED_TRACE(length);
        load_module();
        write(primary_file,
              good + other_line + std::string(length - other_line.size(), ' ') + "\n" + other_line);
        EXPECT_FALSE(load());
        EXPECT_EQ(state(), loaded);
        EXPECT_EQ(printed(), said({about(row[6], 3)}));
        EXPECT_TRUE(sim::open_files().empty());
    }
    if (refused.empty()) return;
    load_module();
    write(primary_file, good + "#\n" + refused + "\n" + other_line + "\n");
    EXPECT_FALSE(load());
    EXPECT_EQ(state(), loaded);
    EXPECT_EQ(printed(), Texts{about(row[8], 4)});
    EXPECT_EQ(sim::open_files(), Texts{"Z:\\FA\\" + file}) << "the file stays open";
}

INSTANTIATE_TEST_SUITE_P(Files, Loader_Test, testing::Range(std::size_t{0}, std::size(operations)),
                         [](const auto& test) { return fake::rows(loaders, 9)[test.param][0].substr(0, 4); });

}  // namespace
