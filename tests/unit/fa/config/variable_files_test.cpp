#include <map>

#include "config_fixture.h"
#include "fa/config/variable_tables.h"
#include "sim/file_layer.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

using Talwen::BC_FA;

/// Every field of a record, for comparison: id point io_type max min dev isbuilt name unit format type vname
/// description.
std::string fields(const Talwen::VARIABLE_STRU& r) {
    char numbers[200];
    std::snprintf(numbers, sizeof numbers, "%d %d %d %g %g %d %d", r.id, r.point, static_cast<int>(r.io_type),
                  r.max, r.min, r.dev, r.isbuilt);
    return std::string(numbers) + '|' + r.sv_name + '|' + r.unit + '|' + std::to_string(r.format) + '|' +
           r.type + '|' + r.ecs_name + '|' + r.description;
}

template <class Table>
Texts rows(const Table& table) {
    Texts all;
    for (const auto& [id, record] : table) {
        all.push_back(fields(record));
        EXPECT_EQ(id, record.id);
    }
    return all;
}

class Variable_Files_Test : public Config_Test {
  protected:
    /// Loads the same text into all three tables.
    void load_all(const std::string& bytes) {
        for (const char* file : {"SVID.cfg", "RVID.cfg", "ECID.cfg"})
            write(std::string(primary) + file, bytes);
        EXPECT_TRUE(fa.FILE_GET_ALL_SVID());
        EXPECT_TRUE(fa.FILE_GET_ALL_RVID());
        EXPECT_TRUE(fa.FILE_GET_ALL_ECID());
    }
    void expect_in_all(const Texts& expected) {
        EXPECT_EQ(rows(Talwen::SVID_List), expected);
        EXPECT_EQ(rows(Talwen::RVID_List), expected);
        EXPECT_EQ(rows(Talwen::ECID_List), expected);
    }
};

}  // namespace

TEST_F(Variable_Files_Test, BindsEachRowToItsPoint) {
    load_all(
        "20 Door  U1 1 DoorState \"Door  of the \"chamber\"\"\n"
        "3  Valve I2 x V2 plain\rtext \xB0\xFF\r\n"
        "-4 Temp  F8 7 V3\n"
        "5  Flow  F4\n");
    expect_in_all({
        "-4 0 1 250.25 -5.5 2 7|Temp|℃|128|F8||",
        "3 1 0 3 -1 0 0|Valve|pos|104|I2||plain text \xB0\xFF",
        "5 1 1 30 0 1 0|Flow|slm|144|F4||",
        "20 0 0 1 0 0 1|Door||164|U1||Door  of the chamber",
    });
    EXPECT_EQ(printed(), Texts{});
}

TEST_F(Variable_Files_Test, APointWithoutLimitsKeepsThoseOfTheRowBefore) {
    // Rows that are skipped or whose id is taken count as well; what the row before a bad name has is kept.
    load_all(
        "1 Lot A 1 V first\n"
        "2 Temp F4 1 V t\n"
        "3 Nowhere U4 1 V n\n"
        "4 Lot A 1 V l\n"
        "2 Valve U1 1 V v\n"
        "5 Run A 1 V r\n");
    const std::string first = "1 0 2 0 0 0 1|Lot||64|A||first";
    const std::string after_temp = "4 0 2 250.25 -5.5 2 1|Lot|℃|64|A||l";
    const std::string after_valve = "5 0 3 3 -1 0 1|Run|pos|64|A||r";
    const std::string temp = "2 0 1 250.25 -5.5 2 1|Temp|℃|144|F4||t";
    const std::string valve = "2 1 0 3 -1 0 1|Valve|pos|164|U1||v";
    EXPECT_EQ(rows(Talwen::SVID_List), (Texts{first, temp, after_temp, after_valve}));  // the first 2 wins
    EXPECT_EQ(rows(Talwen::RVID_List), (Texts{first, temp, after_temp, after_valve}));
    EXPECT_EQ(rows(Talwen::ECID_List), (Texts{first, valve, after_temp, after_valve}));  // the last 2 wins
    EXPECT_EQ(printed(), (Texts{"r SVID:3[Nowhere] IOTYPE获取失败.", "r RVID:3[Nowhere] IO未识别",
                                "r ECID:3[Nowhere] IO未识别"}));
}

TEST_F(Variable_Files_Test, KnowsTenTypes) {
    const std::map<std::string, int> formats = {{"L", 0},    {"U1", 164}, {"U2", 168}, {"U4", 176},
                                                {"I1", 100}, {"I2", 104}, {"I4", 112}, {"F4", 144},
                                                {"F8", 128}, {"A", 64}};
    for (const auto& [word, format] : formats) {
        write("Z/FA/ECID.cfg", "1 Door " + word + " 1 V d\n");
        EXPECT_TRUE(fa.FILE_GET_ALL_ECID()) << word;
        EXPECT_EQ(Talwen::ECID_List.at(1).format, format) << word;
    }
    for (const std::string word :
         {"U8", "I8", "B", "Boolean", "u1", "U", "U44", "", "UUUUUUUUUUUUUUUUUUUUUUUU"}) {
        write("Z/FA/ECID.cfg", "1 Door " + word + "\n");
        EXPECT_FALSE(fa.FILE_GET_ALL_ECID()) << word;
        EXPECT_EQ(printed(),
                  Texts{"r FA/ECID.cfg  Name:Door  - Type:" + word.substr(0, 15) + " Unknown [Line:1]"});
    }
}

TEST_F(Variable_Files_Test, CutsLongFields) {
    const std::string name(63, 'N');  // there is such a point
    load_all("1 " + name + "N A 1 " + std::string(300, 'v') + " \"" + std::string(300, 'd') + "\"\n" +
             "99999999999 Door U1 -99999999999 V d\n");
    const std::string door = "2147483647 0 0 1 0 0 -2147483648|Door||164|U1||d";
    expect_in_all({"1 2 0 1 0 0 1|" + name + "||64|A||" + std::string(254, 'd'), door});
}

TEST_F(Variable_Files_Test, ClearsOnlyTheConstants) {
    load_all("1 Door U1 1 V d\n");
    load_all("2 Valve U1 1 V v\n");
    EXPECT_EQ(Talwen::SVID_List.size(), 2U);
    EXPECT_EQ(Talwen::RVID_List.size(), 2U);
    EXPECT_EQ(Talwen::ECID_List.size(), 1U);
    std::filesystem::remove(folder() / "Z/FA/ECID.cfg");
    EXPECT_FALSE(fa.FILE_GET_ALL_ECID());
    EXPECT_EQ(Talwen::ECID_List.size(), 1U) << "cleared before the file was open";
}

TEST_F(Variable_Files_Test, CountsOnTheConsoleOnRequest) {
    sim::machine().set_gem("PrnChk", 1);
    load_all("1 Door U1 1 V d\n2 Valve U1 1 V v\n1 Valve U1 1 V v\n");
    std::filesystem::rename(folder() / "Z/FA", folder() / "FA");
    std::filesystem::create_directories(folder() / "J/Talwen/Config");
    std::filesystem::rename(folder() / "FA", folder() / "J/Talwen/Config/FA");
    EXPECT_TRUE(fa.FILE_GET_ALL_SVID());
    EXPECT_TRUE(fa.FILE_GET_ALL_ECID());
    EXPECT_EQ(printed(),
              (Texts{"g Z:\\FA\\SVID.cfg 获取 SVID 数量: 2.", "g Z:\\FA\\RVID.cfg 获取 RVID 数量: 2",
                     "g FA/ECID.cfg Get ECID num: 2", "g J:\\Talwen\\Config\\FA\\SVID.cfg 获取 SVID 数量: 2.",
                     "g FA/ECID.cfg Get ECID num: 2"}));
}

TEST_F(Variable_Files_Test, NamesThePrimaryFileOfTheConstantsWhateverItRead) {
    write("J/Talwen/Config/FA/ECID.cfg", std::string(1024, 'x'));
    EXPECT_FALSE(fa.FILE_GET_ALL_ECID());
    EXPECT_EQ(printed(), Texts{"r Parameter Too Long - [Z:\\FA\\ECID.cfg]-[Line:1]"});
}

namespace {

/// A record with something in every field.
template <class Record>
Record full_record(int id) {
    Record r;
    r.id = id;
    r.sv_name = "Temp";
    r.type = "F4";
    r.unit = "℃";
    r.isbuilt = -1;
    r.ecs_name = "Temperature";
    r.description = "Wall \xB0 of PM1";
    return r;
}

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

}  // namespace

TEST_F(Variable_Files_Test, WritesEveryTableInItsOwnForm) {
    for (const int id : {12, -3}) {
        Talwen::SVID_List[id] = full_record<Talwen::SVID_STRU>(id);
        Talwen::ECID_List[id] = full_record<Talwen::ECID_STRU>(id);
        Talwen::RVID_List[id] = full_record<Talwen::RVID_STRU>(id);
    }
    EXPECT_TRUE(fa.FILE_SAVE_ALL_SVID());
    EXPECT_TRUE(fa.FILE_SAVE_ALL_ECID());
    EXPECT_TRUE(fa.FILE_SAVE_ALL_RVID());
    EXPECT_EQ(printed(), Texts{});

    const std::string dashes = '#' + std::string(113, '-') + '\n';
    const std::string name_and_type = padded("Temp", 32) + " F4         ";
    const auto row_with_unit = [&](const std::string& id) {
        // Widths count bytes: the unit has three, so seven blanks follow.
        return id + name_and_type + "℃        -1         " + padded("Temperature", 32) + ' ' +
               padded("\"Wall \xB0 of PM1\"", 128) + '\n';
    };
    const auto row = [&](const std::string& id) {
        return id + name_and_type + "-1         " + padded("Temperature", 32) + " \"" +
               padded("Wall \xB0 of PM1", 128) + "\"\n";
    };
    const std::string titles = padded("IONAME", 32) + " TYPE       ISBUILT    " + padded("VNAME", 32) + ' ' +
                               padded("DESCRIPTION", 128) + '\n';
    EXPECT_EQ(read("Z/FA/SVID.cfg"), dashes + "#SVID       " + titles + dashes +
                                         row_with_unit("-3         ") + row_with_unit("12         "));
    EXPECT_EQ(read("Z/FA/ECID.cfg"), "#id         " + padded("sv_name", 32) +
                                         " type       unit       isbuilt    " + padded("ecs_name", 32) + ' ' +
                                         padded("description", 128) + '\n' + row_with_unit("-3         ") +
                                         row_with_unit("12         "));
    EXPECT_EQ(read("Z/FA/RVID.cfg"),
              dashes + "#RVID       " + titles + dashes + row("-3         ") + row("12         "));
}

TEST_F(Variable_Files_Test, ReadsBackReportVariablesButTakesAUnitForIsbuilt) {
    Talwen::RVID_List[5] = full_record<Talwen::RVID_STRU>(5);
    Talwen::SVID_List[5] = full_record<Talwen::SVID_STRU>(5);
    ASSERT_TRUE(fa.FILE_SAVE_ALL_RVID());
    ASSERT_TRUE(fa.FILE_SAVE_ALL_SVID());
    Talwen::RVID_List.clear();
    Talwen::SVID_List.clear();
    EXPECT_TRUE(fa.FILE_GET_ALL_RVID());
    EXPECT_TRUE(fa.FILE_GET_ALL_SVID());
    // The written width stays inside the quotes; the variable name is not kept.
    EXPECT_EQ(rows(Talwen::RVID_List),
              Texts{"5 0 1 250.25 -5.5 2 -1|Temp|℃|144|F4||" + padded("Wall \xB0 of PM1", 128)});
    EXPECT_EQ(rows(Talwen::SVID_List), Texts{"5 0 1 250.25 -5.5 2 0|Temp|℃|144|F4||Temperature" +
                                             std::string(22, ' ') + "Wall \xB0 of PM1"});
}

TEST_F(Variable_Files_Test, SaysWhichTableCouldNotBeWritten) {
    for (const char* file : {"SVID.cfg", "ECID.cfg", "RVID.cfg"})
        std::filesystem::create_directories(folder() / "Z/FA" / file);
    EXPECT_FALSE(fa.FILE_SAVE_ALL_SVID());
    EXPECT_FALSE(fa.FILE_SAVE_ALL_ECID());
    EXPECT_FALSE(fa.FILE_SAVE_ALL_RVID());
    EXPECT_EQ(printed(), (Texts{"r [Z:\\FA\\SVID.cfg] 文件保存失败.", "r [Z:\\FA\\ECID.cfg] 文件打开失败!\n",
                                "r [Z:\\FA\\RVID.cfg] 文件保存失败!"}));
}

}  // namespace fa_test
