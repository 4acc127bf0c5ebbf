// The tables of variables: their files, and the texts they take records from.
#include "config_fixture.h"

namespace {

using namespace fa_test;
using Talwen::BC_FA;
using Talwen::ECID_List;
using Talwen::RVID_List;
using Talwen::SVID_List;

/// The records of a table, each ended by "; " and without its id when that comes before it: id point io_type
/// max min dev isbuilt name unit format type vname description.
template <class Table>
std::string records(const Table& table) {
    std::ostringstream all;
    for (const auto& [id, record] : *table.read()) {
        const Talwen::VARIABLE_STRU& r = *record;
        EXPECT_EQ(id, r.id);
        all << r.id << ' ' << r.point << ' ' << static_cast<int>(r.io_type) << ' ' << r.max << ' ' << r.min
            << ' ' << r.dev << ' ' << r.isbuilt << '|' << r.sv_name << '|' << r.unit << '|' << int{r.format}
            << '|' << r.type << '|' << r.ecs_name << '|' << r.description << "; ";
    }
    return all.str();
}

class Variable_Files_Test : public Config_Test {
  protected:
    /// Loads the same text into all three tables; all of them then, when they agree.
    std::string load_all(const std::string& bytes) {
        for (const char* file : {"SVID.cfg", "RVID.cfg", "ECID.cfg"})
            write(primary + std::string(file), bytes);
        EXPECT_TRUE(module->FILE_GET_ALL_SVID() && module->FILE_GET_ALL_RVID() &&
                    module->FILE_GET_ALL_ECID());
        const std::string all = records(SVID_List);
        return all == records(RVID_List) && all == records(ECID_List) ? all : "they differ";
    }
};

TEST_F(Variable_Files_Test, BindsEachRowToItsPoint) {
    EXPECT_EQ(load_all("20 Door  U1 1 DoorState \"Door  of the \"chamber\"\"\n"
                       "3  Valve I2 x V2 plain\rtext \xB0\xFF\r\n-4 Temp  F8 7 V3\n5  Flow  F4\n"),
              "-4 0 1 250.25 -5.5 2 7|Temp|℃|128|F8||; 3 1 0 3 -1 0 0|Valve|pos|104|I2||plain text \xB0\xFF; "
              "5 1 1 30 0 1 0|Flow|slm|144|F4||; 20 0 0 1 0 0 1|Door||164|U1||Door  of the chamber; ");
    EXPECT_EQ(printed(), Texts{});
    load_module();
    const std::string name(63, 'N');  // there is such a point; long fields are cut
    EXPECT_EQ(load_all("1 " + name + "N A 1 " + std::string(300, 'v') + " \"" + std::string(300, 'd') +
                       "\"\n" + "99999999999 Door U1 -99999999999 V d\n"),
              "1 2 0 1 0 0 1|" + name + "||64|A||" + std::string(254, 'd') +
                  "; 2147483647 0 0 1 0 0 -2147483648|Door||164|U1||d; ");
}

TEST_F(Variable_Files_Test, APointWithoutLimitsKeepsThoseOfTheRowBefore) {
    // Rows that are skipped or whose id is taken count as well; what the row before a bad name has is kept.
    load_all(
        "1 Lot A 1 V first\n2 Temp F4 1 V t\n3 Nowhere U4 1 V n\n4 Lot A 1 V l\n2 Valve U1 1 V v\n5 Run A 1 "
        "V r\n");
    const std::string all =
        "1 0 2 0 0 0 1|Lot||64|A||first; {2}; 4 0 2 250.25 -5.5 2 1|Lot|℃|64|A||l; 5 0 3 3 -1 0 "
        "1|Run|pos|64|A||r; ";
    const std::string first_wins = with(all, "2", "2 0 1 250.25 -5.5 2 1|Temp|℃|144|F4||t");
    EXPECT_EQ(records(SVID_List), first_wins);
    EXPECT_EQ(records(RVID_List), first_wins);
    EXPECT_EQ(records(ECID_List), with(all, "2", "2 1 0 3 -1 0 1|Valve|pos|164|U1||v"));
    EXPECT_EQ(printed(), (Texts{"r SVID:3[Nowhere] IOTYPE获取失败.", "r RVID:3[Nowhere] IO未识别",
                                "r ECID:3[Nowhere] IO未识别"}));
}

TEST_F(Variable_Files_Test, KnowsTenTypes) {
    std::string formats;
    for (const std::string word : {"L", "U1", "U2", "U4", "I1", "I2", "I4", "F4", "F8", "A", "U8", "I8", "B",
                                   "Boolean", "u1", "U", "U44", "", "UUUUUUUUUUUUUUUUUUUUUUUU"}) {
        write("Z/FA/ECID.cfg", "1 Door " + word + " 1 V d\n");
        const bool known = module->FILE_GET_ALL_ECID();
        formats += known ? std::to_string(ECID_List.read()->at(1).format) + " " : "-";
        const std::string refused =
            "r FA/ECID.cfg  Name:Door  - Type:" + (word.empty() ? "1" : word.substr(0, 15)) +
            " Unknown [Line:1]";
        EXPECT_EQ(printed(), known ? Texts{} : Texts{refused});
    }
    EXPECT_EQ(formats, "0 164 168 176 100 104 112 144 128 64 ---------");
}

TEST_F(Variable_Files_Test, ClearsOnlyTheConstants) {
    load_all("1 Door U1 1 V d\n");
    load_all("2 Valve U1 1 V v\n");
    EXPECT_EQ(SVID_List.size() * 100 + RVID_List.size() * 10 + ECID_List.size(), 221U);
    std::filesystem::remove(folder.path() / "Z/FA/ECID.cfg");
    EXPECT_FALSE(module->FILE_GET_ALL_ECID());
    EXPECT_EQ(ECID_List.size(), 1U) << "cleared before the file was open";
    printed();
    write("J/Talwen/Config/FA/ECID.cfg", std::string(1024, 'x'));
    EXPECT_FALSE(module->FILE_GET_ALL_ECID());
    EXPECT_EQ(printed(), Texts{"r Parameter Too Long - [Z:\\FA\\ECID.cfg]-[Line:1]"})
        << "not the file it read";
}

TEST_F(Variable_Files_Test, CountsOnTheConsoleOnRequest) {
    set_states("PrnChk=1");
    load_all("1 Door U1 1 V d\n2 Valve U1 1 V v\n1 Valve U1 1 V v\n");
    std::filesystem::create_directories(folder.path() / "J/Talwen/Config");
    std::filesystem::rename(folder.path() / "Z/FA", folder.path() / "J/Talwen/Config/FA");
    EXPECT_TRUE(module->FILE_GET_ALL_SVID() && module->FILE_GET_ALL_ECID());
    EXPECT_EQ(printed(),
              (Texts{"g Z:\\FA\\SVID.cfg 获取 SVID 数量: 2.", "g Z:\\FA\\RVID.cfg 获取 RVID 数量: 2",
                     "g FA/ECID.cfg Get ECID num: 2", "g J:\\Talwen\\Config\\FA\\SVID.cfg 获取 SVID 数量: 2.",
                     "g FA/ECID.cfg Get ECID num: 2"}));
}

TEST_F(Variable_Files_Test, EveryTableIsWrittenInItsOwnFormAndReadsBackButTakesAUnitForIsbuilt) {
    Talwen::VARIABLE_STRU record;
    record.sv_name = "Temp";
    record.type = "F4";
    record.unit = "℃";
    record.isbuilt = -1;
    record.ecs_name = "Temperature";
    record.description = "Wall \xB0 of PM1";
    for (const int id : {12, -3}) {
        record.id = id;
        SVID_List.put({{record}});
        ECID_List.put({{record}});
        RVID_List.put({{record}});
    }
    EXPECT_TRUE(module->FILE_SAVE_ALL_SVID() && module->FILE_SAVE_ALL_ECID() && module->FILE_SAVE_ALL_RVID());
    EXPECT_EQ(printed(), Texts{});

    const std::string dashes = '#' + std::string(113, '-') + '\n';
    // Widths count bytes.
    const std::string start = ":11 Temp:33 F4:11", end = "-1:11 Temperature:33";
    const auto both = [](const std::string& row) { return columns("-3" + row + " ~ 12" + row); };
    const std::string with_unit = both(start + " ℃:11 " + end + " \"Wall+\xB0+of+PM1\":128");
    const std::string titles = ":11 IONAME:33 TYPE:11 ISBUILT:11 VNAME:33 DESCRIPTION:128";
    EXPECT_EQ(read("Z/FA/SVID.cfg"), dashes + "#" + columns("SVID" + titles) + dashes + with_unit);
    EXPECT_EQ(
        read("Z/FA/ECID.cfg"),
        "#" + columns("id:11 sv_name:33 type:11 unit:11 isbuilt:11 ecs_name:33 description:128") + with_unit);
    EXPECT_EQ(read("Z/FA/RVID.cfg"), dashes + "#" + columns("RVID" + titles) + dashes +
                                         both(start + ' ' + end + " \":1 Wall+\xB0+of+PM1:128 \":1"));
    const std::string in_quotes = "Wall \xB0 of PM1" + std::string(115, ' ');

    // The written width stays inside the quotes; the variable name is not kept.
    load_module();
    EXPECT_TRUE(module->FILE_GET_ALL_SVID() && module->FILE_GET_ALL_RVID());
    EXPECT_EQ(records(RVID_List), "-3 0 1 250.25 -5.5 2 -1|Temp|℃|144|F4||" + in_quotes +
                                      "; 12 0 1 250.25 -5.5 2 -1|Temp|℃|144|F4||" + in_quotes + "; ");
    EXPECT_TRUE(records(SVID_List).starts_with("-3 0 1 250.25 -5.5 2 0|Temp|℃|144|F4||Temperature" +
                                               std::string(22, ' ') + "Wall \xB0 of PM1; 12 "));

    for (const char* file : {"SVID.cfg", "ECID.cfg", "RVID.cfg"}) block(primary + std::string(file));
    EXPECT_FALSE(module->FILE_SAVE_ALL_SVID() || module->FILE_SAVE_ALL_ECID() ||
                 module->FILE_SAVE_ALL_RVID());
    EXPECT_EQ(printed(), (Texts{"r [Z:\\FA\\SVID.cfg] 文件保存失败.", "r [Z:\\FA\\ECID.cfg] 文件打开失败!\n",
                                "r [Z:\\FA\\RVID.cfg] 文件保存失败!"}));
}

class Variable_Tables_Test : public Config_Test {
  protected:
    /// Adds to the status variables; the text is consumed.
    void add(std::string text) {
        EXPECT_TRUE(module->QFA_Add_SVID_List(text.data()));
        EXPECT_EQ(text[0], '\0');
    }
};

// Text to add, then all records; "!" is the text's "|" there. A later record replaces one of its id; an
// unknown kind of point keeps the name before it, within a text; an empty record has id 0; a record has 299
// bytes, and what comes after them is lost.
const char* const record_texts = R"(
5&1&1&100&-0.5&2&Gas flow!6&0&2&&&&!7&1&0&3&-1&0&a&b | 5 1 1 100 -0.5 2 0!Flow!-!0!!!Gas flow; 6 0 2 0 0 0 0!Lot!-!0!!!; 7 1 0
    3 -1 0 0!Valve!-!0!!!a&b;
5&1&1&100&0&2&one!5&0&0&1&0&0&two | 5 0 0 1 0 0 0!Door!-!0!!!two;
1&0&1&0&0&0&a!2&0&9&0&0&0&b | 1 0 1 0 0 0 0!Temp!-!0!!!a; 2 0 9 0 0 0 0!Temp!-!0!!!b; || 3&0&3&0&0&0&c | 3 0 3 0 0 0 0!!-!0!!!c;
9 | 9 0 0 0 0 0 0!Door!-!0!!!; || 8&0&0&1e999&-1e999&99999999999&{bytes} | 8 0 0 inf -inf 2147483647 0!Door!-!0!!!{bytes};
7&-1&0&1&0&0&p!6&999999&2&1&0&0&q | 6 999999 2 1 0 0 0!!-!0!!!q; 7 -1 0 1 0 0 0!!-!0!!!p;
!1&0&0&1&0&0&a! | 0 0 0 0 0 0 0!Door!-!0!!!; 1 0 0 1 0 0 0!Door!-!0!!!a;
1&0&0&1&0&0&{d199}dd!2&0&0&1&0&0&next | 1 0 0 1 0 0 0!Door!-!0!!!{d199}; 2 0 0 1 0 0 0!Door!-!0!!!next;
3&0&0&{0280}1&0&0&lost!4 | 3 0 0 1 0 0 0!Door!-!0!!!lost; 4 0 0 0 0 0 0!Door!-!0!!!;
3&0&0&{0280}0000001&0&0&lost!4 | 3 0 0 1 0 0 0!Door!-!0!!!l; 4 0 0 0 0 0 0!Door!-!0!!!;
)";

TEST_F(Variable_Tables_Test, RecordsAreTakenFromTexts) {
    std::string table = with(with(record_texts, "bytes", "\xFF\xFE"), "d199", std::string(199, 'd'));
    for (Texts row : fake::rows(with(table, "0280", std::string(280, '0')), 2)) {
        for (std::string& text : row) text = fake::replaced(text, "!", "|");
        SVID_List.clear();
        add(row[0]);
        EXPECT_EQ(records(SVID_List), row[1] + " ") << row[0];
    }
    SVID_List.clear();
    add("");
    EXPECT_EQ(SVID_List.size(), 0U);
}

TEST_F(Variable_Tables_Test, HandlesBracketsInItsOwnWay) {
    using Case = std::pair<const char*, const char*>;
    for (const auto& [description, kept] : {Case{"Pressure", "Pressure"},
                                            {"[Torr]Pressure", "Pressure"},
                                            {"Pressure[Torr]", "Torr]"},
                                            {"[a]b[c]", "c]"},
                                            {"[Torr]", ""},
                                            {"[Torr", "[Torr"},
                                            {"Torr]", "Torr]"},
                                            {"a[b]c", "a[b]c"},
                                            {"a[b[c]", "b"},
                                            {"[]", ""},
                                            {"]", "]"},
                                            {" [x] ", " [x] "}}) {
        add(std::string("1&0&0&1&0&0&") + description);
        const Talwen::SVID_STRU& record = SVID_List.read()->at(1);
        EXPECT_EQ(record.description + record.unit, std::string(kept) + "-") << description;
    }
}

TEST_F(Variable_Tables_Test, KeepsTheTablesApart) {
    char texts[4][20] = {"1&0&0&1&0&0&s", "2&0&0&1&0&0&e", "3&0&0&1&0&0&r", "4&0&0&1&0&0&d"};
    EXPECT_TRUE(module->QFA_Add_SVID_List(texts[0]) && module->QFA_Add_ECID_List(texts[1]) &&
                module->QFA_Add_RVID_List(texts[2]) && module->QFA_Add_DVID_List(texts[3]));
    Talwen::SVID_STRU* s = nullptr;
    Talwen::DVID_STRU* d = nullptr;
    EXPECT_TRUE(module->QFA_Get_SVID_Stru(1, &s) && module->QFA_Get_DVID_Stru(4, &d));
    EXPECT_FALSE(module->QFA_Get_SVID_Stru(2, &s) || module->QFA_Get_DVID_Stru(1, &d));
    EXPECT_EQ(s->description + d->description, "sd") << "what is not found leaves the pointer";
    const auto sizes = [] {
        return fake::joined(
            std::vector{SVID_List.size(), ECID_List.size(), RVID_List.size(), Talwen::DVID_List.size()});
    };
    EXPECT_TRUE(module->QFA_Remove_All_ECID_List());
    EXPECT_EQ(sizes(), "1,0,1,1");
    EXPECT_TRUE(module->QFA_Remove_All_SVID_List() && module->QFA_Remove_All_DVID_List());
    EXPECT_EQ(sizes(), "0,0,1,0");
    EXPECT_TRUE(module->QFA_Remove_All_RVID_List());
    EXPECT_EQ(sizes(), "0,0,0,0");
}

TEST_F(Variable_Tables_Test, AReaderKeepsTheTableThatItHasBegunWith) {
    add("5&0&0&1&0&0&old|70000&0&0&1&0&0&far|-1&0&0&1&0&0&below");
    const auto begun = SVID_List.read();
    Talwen::SVID_STRU* given = nullptr;
    ASSERT_TRUE(module->QFA_Get_SVID_Stru(5, &given));
    add("5&0&0&1&0&0&new|6&0&0&1&0&0&more");
    EXPECT_EQ(fake::joined(begun->ids()), "-1,5,70000");
    EXPECT_EQ(begun->at(5).description + begun->at(70000).description + given->description, "oldfarold");
    EXPECT_EQ(fake::joined(SVID_List.read()->ids()), "-1,5,6,70000");
    EXPECT_EQ(SVID_List.read()->at(5).description + SVID_List.read()->at(-1).description, "newbelow");
    EXPECT_EQ(SVID_List.read()->find(65536), nullptr);
    module->QFA_Remove_All_SVID_List();
    EXPECT_EQ(given->description, "old");
}

TEST_F(Variable_Tables_Test, FindsTheSmallestReportVariableOfAName) {
    char text[] = "30&0&1&0&0&0&|20&0&1&0&0&0&|10&1&1&0&0&0&";
    module->QFA_Add_RVID_List(text);
    Talwen::RVID_STRU* record = nullptr;
    EXPECT_FALSE(module->QFA_Get_RVID_Stru("temp", &record) || module->QFA_Get_RVID_Stru("Tem", &record));
    EXPECT_EQ(record, nullptr);
    ASSERT_TRUE(module->QFA_Get_RVID_Stru("Temp", &record));
    EXPECT_EQ(record->id, 20);
}

}  // namespace
