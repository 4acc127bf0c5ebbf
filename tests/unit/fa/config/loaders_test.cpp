// What every loader does alike: where the file lies, how lines are read and counted.
#include <functional>

#include "config_fixture.h"
#include "fa/config/variable_tables.h"
#include "sim/file_layer.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

using Talwen::BC_FA;

struct Loader_Case {
    const char* file;
    bool (BC_FA::*load)();
    std::string line;          ///< a line that loads
    std::string other_line;    ///< another one, for the same thing
    std::string open_failed;   ///< with the fallback's path
    std::string too_long;      ///< in line 3 of the primary file
    std::string refused;       ///< a line that ends the load
    std::string refused_text;  ///< its message, in line 4 of the primary file
    std::function<std::string()> state;
    std::string nothing;  ///< the state before, after the line, after the other line
    std::string loaded;
    std::string other_loaded;
    Texts says = {};             ///< printed for the line
    std::size_t longest = 1023;  ///< bytes of a line
    bool without_file = false;   ///< the result
};

template <class Table>
std::string names_of(const Table& table) {
    std::string names;
    for (const auto& [id, record] : table) names += std::to_string(id) + '=' + record.sv_name + ' ';
    return names;
}

Loader_Case variable_case(const char* id, bool (BC_FA::*load)(), std::function<std::string()> state) {
    Loader_Case c;
    c.load = load;
    c.line = "7 Door U1 1 V \"d\"";
    c.other_line = "7 Temp F4 1 V \"t\"";
    c.refused = "8 Door U8 1 V \"d\"";
    c.state = std::move(state);
    c.loaded = "7=Door ";
    c.other_loaded = "7=Temp ";
    const std::string file = std::string(id) + ".cfg";
    const std::string loader = std::string("FILE_GET_ALL_") + id;
    c.open_failed = "r [J:\\Talwen\\Config\\FA\\" + file + "] 文件读取失败.";
    c.too_long = "r 参数过长. [文件行:Z:\\FA\\" + file + ":3][代码行:" + loader + ":#]";
    c.refused_text = "[文件行:Z:\\FA\\" + file + ":4][代码行:" + loader + ":#]";
    return c;
}

/// Files whose loaders refuse single lines only.
std::vector<Loader_Case> definition_cases() {
    const struct {
        const char* file;
        bool (BC_FA::*load)();
        const char* line;
        const char* other_line;
        const char* loaded;
        const char* other_loaded;
        const char* open_failed;
        const char* too_long = "参数过长. ";
    } table[] = {
        {"RPTID.cfg", &BC_FA::FILE_GET_ALL_RPTID, "1 7", "2 7", "1 7 [] ", "2 7 [] ", "文件打开失败."},
        {"CEID.cfg", &BC_FA::FILE_GET_ALL_CEID, "1 7 - E", "2 7", "1 7 [] E|", "2 7 [] |", "文件打开失败.",
         "参数过长 - "},
        {"TRID.cfg", &BC_FA::FILE_GET_ALL_TRID, "7 000001 9 1 - d", "7 000002", "7 000001=1000 9 1 [] d",
         "7 000002=2000 0 0 [] ", "文件读取失败."},
        {"TMSG.cfg", &BC_FA::FILE_GET_ALL_TMSG, "7 \"a\"", "7 b", "7 a", "7 b", "文件读取失败."},
        {"SPOOLING.inf", &BC_FA::FILE_GET_ALL_SPOOLING, "5,1", "6,11", "5,1", "6,11", "文件不存在.",
         "参数过长 - "},
    };
    std::vector<Loader_Case> cases;
    for (const auto& row : table) {
        const std::string file = row.file;
        const std::string list = file.substr(0, file.find('.'));
        Loader_Case c;
        c.file = row.file;
        c.load = row.load;
        c.line = row.line;
        c.other_line = row.other_line;
        c.open_failed = "r [J:\\Talwen\\Config\\FA\\" + file + "] " + row.open_failed;
        c.too_long = std::string("r ") + row.too_long + "[文件行:Z:\\FA\\" + file +
                     ":3][代码行:FILE_GET_ALL_" + list + ":#]";
        c.state = [list] { return listed(list); };
        c.loaded = row.loaded;
        c.other_loaded = row.other_loaded;
        cases.push_back(c);
    }
    cases.back().says = {"g S5,F1\tGET SPOOLING"};
    cases.back().longest = 1022;
    cases.back().without_file = true;
    return cases;
}

std::vector<Loader_Case> loader_cases() {
    std::vector<Loader_Case> cases;

    Loader_Case settings;
    settings.file = "FA_SAVE.inf";
    settings.load = &BC_FA::FILE_SYSTEM_SETUP;
    settings.line = "T3 11";
    settings.other_line = "T3 12";
    settings.open_failed = "r [J:\\Talwen\\Config\\FA\\FA_SAVE.inf] 文件打开失败.";
    settings.too_long = "r 参数过长. [文件行:Z:\\FA\\FA_SAVE.inf:3][代码行:FILE_SYSTEM_SETUP:#]";
    settings.refused = "T33 12";
    settings.refused_text = "r 配置项未识别:T33 [文件行:Z:\\FA\\FA_SAVE.inf:4][代码行:FILE_SYSTEM_SETUP:#]";
    settings.state = [] { return sim::machine().fa("T3"); };
    settings.nothing = "0";
    settings.loaded = "11";
    settings.other_loaded = "12";
    cases.push_back(settings);

    cases.push_back(
        variable_case("SVID", &BC_FA::FILE_GET_ALL_SVID, [] { return names_of(Talwen::SVID_List); }));
    cases.back().file = "SVID.cfg";
    cases.back().refused_text = "r IONAME:Door  - TYPE:U8 未识别. " + cases.back().refused_text;

    cases.push_back(
        variable_case("RVID", &BC_FA::FILE_GET_ALL_RVID, [] { return names_of(Talwen::RVID_List); }));
    cases.back().file = "RVID.cfg";
    cases.back().refused_text = "r IONAME:Door  - TYPE:U8 未识别." + cases.back().refused_text;

    cases.push_back(
        variable_case("ECID", &BC_FA::FILE_GET_ALL_ECID, [] { return names_of(Talwen::ECID_List); }));
    cases.back().file = "ECID.cfg";
    cases.back().too_long = "r Parameter Too Long - [Z:\\FA\\ECID.cfg]-[Line:3]";
    cases.back().refused_text = "r FA/ECID.cfg  Name:Door  - Type:U8 Unknown [Line:4]";
    return cases;
}

class Loader_Test : public Config_Test, public testing::WithParamInterface<Loader_Case> {
  protected:
    const Loader_Case& c = GetParam();
    std::string primary_file = primary + std::string(c.file);
    std::string fallback_file = fallback + std::string(c.file);
    bool load() { return (fa.*c.load)(); }
};

class Refusing_Loader_Test : public Loader_Test {};

}  // namespace

TEST_P(Loader_Test, ReadsThePrimaryFileAndNotTheFallback) {
    write(primary_file, c.line + "\n");
    write(fallback_file, c.other_line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(c.state(), c.loaded);
    EXPECT_EQ(printed(), c.says);
    EXPECT_TRUE(sim::open_files().empty());
}

TEST_P(Loader_Test, ReadsTheFallbackWhenThereIsNoPrimaryFile) {
    write(fallback_file, c.other_line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(c.state(), c.other_loaded);
}

TEST_P(Loader_Test, SaysWhatIsMissingWithoutAnyFile) {
    EXPECT_EQ(load(), c.without_file);
    EXPECT_EQ(c.state(), c.nothing);
    EXPECT_EQ(printed(), Texts{c.open_failed});
}

TEST_P(Loader_Test, LoadsWhatIsThereHoweverItsLinesEnd) {
    const struct {
        std::string bytes;
        std::string state;
    } table[] = {
        {"", c.nothing},
        {"\n\r\n  \t \n# a comment\n#" + std::string(3000, '-'), c.nothing},
        {c.line, c.loaded},           // no line end at all
        {c.line + "\r\n", c.loaded},  // CRLF
        {" \t" + c.line + " \t\r\n", c.loaded},
        {"#x\n\n" + c.line + "\n\n#y", c.loaded},
        {"#" + std::string(3000, '-') + "\n" + c.line + "\n", c.loaded},  // a comment may be of any length
        {c.line + std::string(c.longest - c.line.size(), ' ') + "\n", c.loaded},
        {c.line + std::string(c.longest - c.line.size(), ' ') + "\r\n", c.loaded},  // not counting its end
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.bytes.substr(0, 80));
        forget_tables();
        sim::machine().set_fa("T3", 0);
        write(primary_file, row.bytes);
        EXPECT_TRUE(load());
        EXPECT_EQ(c.state(), row.state);
        EXPECT_EQ(printed(), row.state == c.loaded ? c.says : Texts{});
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_P(Loader_Test, EndsAtALineThatIsTooLong) {
    for (const std::size_t length :
         {c.longest + 1, std::size_t{1024}, std::size_t{1025}, std::size_t{1100}, std::size_t{5000}}) {
        SCOPED_TRACE(length);
        forget_tables();
        write(primary_file, "# head\n" + c.line + "\n" + c.other_line +
                                std::string(length - c.other_line.size(), ' ') + "\n" + c.other_line);
        EXPECT_FALSE(load());
        EXPECT_EQ(c.state(), c.loaded);
        Texts texts = c.says;
        texts.push_back(c.too_long);
        EXPECT_EQ(printed(), texts);
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_P(Refusing_Loader_Test, EndsAtALineItDoesNotKnowAndLeavesTheFileOpen) {
    write(primary_file, "\n" + c.line + "\n#\n" + c.refused + "\n" + c.other_line + "\n");
    EXPECT_FALSE(load());
    EXPECT_EQ(c.state(), c.loaded);
    EXPECT_EQ(printed(), Texts{c.refused_text});
    EXPECT_EQ(sim::open_files(), Texts{"Z:\\FA\\" + std::string(c.file)});
}

std::string name_of(const testing::TestParamInfo<Loader_Case>& test) {
    return std::string(test.param.file, 4);
}

INSTANTIATE_TEST_SUITE_P(Files, Loader_Test, testing::ValuesIn(loader_cases()), name_of);
INSTANTIATE_TEST_SUITE_P(Definitions, Loader_Test, testing::ValuesIn(definition_cases()), name_of);
INSTANTIATE_TEST_SUITE_P(Files, Refusing_Loader_Test, testing::ValuesIn(loader_cases()), name_of);

}  // namespace fa_test
