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

}  // namespace

TEST_P(Loader_Test, ReadsThePrimaryFileAndNotTheFallback) {
    write(primary_file, c.line + "\n");
    write(fallback_file, c.other_line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(c.state(), c.loaded);
    EXPECT_EQ(printed(), Texts{});
    EXPECT_TRUE(sim::open_files().empty());
}

TEST_P(Loader_Test, ReadsTheFallbackWhenThereIsNoPrimaryFile) {
    write(fallback_file, c.other_line + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(c.state(), c.other_loaded);
}

TEST_P(Loader_Test, FailsWithoutAnyFile) {
    EXPECT_FALSE(load());
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
        {"#" + std::string(3000, '-') + "\n" + c.line + "\n", c.loaded},     // a comment may be of any length
        {c.line + std::string(1023 - c.line.size(), ' ') + "\n", c.loaded},  // fills the buffer
        {c.line + std::string(1023 - c.line.size(), ' ') + "\r\n", c.loaded},  // not counting its end
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.bytes.substr(0, 80));
        Talwen::SVID_List.clear();
        Talwen::RVID_List.clear();
        Talwen::ECID_List.clear();
        sim::machine().set_fa("T3", 0);
        write(primary_file, row.bytes);
        EXPECT_TRUE(load());
        EXPECT_EQ(c.state(), row.state);
        EXPECT_EQ(printed(), Texts{});
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_P(Loader_Test, EndsAtALineThatIsTooLong) {
    for (const std::size_t length : {1024U, 1025U, 1100U, 5000U}) {
        SCOPED_TRACE(length);
        write(primary_file, "# head\n" + c.line + "\n" + c.other_line +
                                std::string(length - c.other_line.size(), ' ') + "\n" + c.other_line);
        EXPECT_FALSE(load());
        EXPECT_EQ(c.state(), c.loaded);
        EXPECT_EQ(printed(), Texts{c.too_long});
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_P(Loader_Test, EndsAtALineItDoesNotKnowAndLeavesTheFileOpen) {
    write(primary_file, "\n" + c.line + "\n#\n" + c.refused + "\n" + c.other_line + "\n");
    EXPECT_FALSE(load());
    EXPECT_EQ(c.state(), c.loaded);
    EXPECT_EQ(printed(), Texts{c.refused_text});
    EXPECT_EQ(sim::open_files(), Texts{"Z:\\FA\\" + std::string(c.file)});
}

INSTANTIATE_TEST_SUITE_P(Files, Loader_Test, testing::ValuesIn(loader_cases()),
                         [](const auto& test) { return std::string(test.param.file, 4); });

}  // namespace fa_test
