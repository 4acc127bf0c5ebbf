#include "fa/config/variable_tables.h"

#include <cstdio>
#include <string>

#include "config_fixture.h"

namespace fa_test {

namespace {

class Variable_Tables_Test : public Config_Test {
  protected:
    /// Adds to the status variables; the text is consumed.
    void add(std::string text) {
        EXPECT_TRUE(fa.QFA_Add_SVID_List(text.data()));
        EXPECT_EQ(text[0], '\0');
    }
};

}  // namespace

TEST_F(Variable_Tables_Test, AddsRecords) {
    add("5&1&1&100&-0.5&2&Gas flow|6&0&2&&&&|7&1&0&3&-1&0&a&b");
    std::string all;
    for (const auto& [id, r] : Talwen::SVID_List) {
        char numbers[100];
        std::snprintf(numbers, sizeof numbers, "%d=%d %d %d %g %g %d ", id, r.id, r.point,
                      static_cast<int>(r.io_type), r.max, r.min, r.dev);
        all += numbers + r.sv_name + ' ' + r.unit + ' ' + r.description + '|';
    }
    EXPECT_EQ(all, "5=5 1 1 100 -0.5 2 Flow - Gas flow|6=6 0 2 0 0 0 Lot - |7=7 1 0 3 -1 0 Valve - a&b|");
}

TEST_F(Variable_Tables_Test, ALaterRecordReplacesOneOfItsId) {
    add("5&1&1&100&0&2&one|5&0&0&1&0&0&two");
    EXPECT_EQ(Talwen::SVID_List.at(5).description, "two");
    add("5&1&0&3&0&0&three");
    EXPECT_EQ(Talwen::SVID_List.size(), 1U);
    EXPECT_EQ(Talwen::SVID_List.at(5).sv_name, "Valve");
}

TEST_F(Variable_Tables_Test, AnUnknownKindOfPointKeepsTheNameBefore) {
    add("1&0&1&0&0&0&a|2&0&9&0&0&0&b");
    EXPECT_EQ(Talwen::SVID_List.at(2).sv_name, "Temp");
    EXPECT_EQ(static_cast<int>(Talwen::SVID_List.at(2).io_type), 9);
    add("3&0&3&0&0&0&c");  // nothing is carried over from call to call
    EXPECT_EQ(Talwen::SVID_List.at(3).sv_name, "");
}

TEST_F(Variable_Tables_Test, HandlesBracketsInItsOwnWay) {
    const struct {
        const char* description;
        const char* kept;
    } table[] = {
        {"Pressure", "Pressure"},
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
        {" [x] ", " [x] "},
    };
    for (const auto& row : table) {
        add(std::string("1&0&0&1&0&0&") + row.description);
        EXPECT_EQ(Talwen::SVID_List.at(1).description, row.kept) << row.description;
        EXPECT_EQ(Talwen::SVID_List.at(1).unit, "-") << row.description;
    }
}

TEST_F(Variable_Tables_Test, TakesOddTexts) {
    add("");
    EXPECT_TRUE(Talwen::SVID_List.empty());
    add("9");
    EXPECT_EQ(Talwen::SVID_List.at(9).point, 0);
    add("8&0&0&1e999&-1e999&99999999999&\xFF\xFE");
    EXPECT_GT(Talwen::SVID_List.at(8).max, 1e308);
    EXPECT_LT(Talwen::SVID_List.at(8).min, -1e308);
    EXPECT_EQ(Talwen::SVID_List.at(8).dev, 2147483647);
    EXPECT_EQ(Talwen::SVID_List.at(8).description, "\xFF\xFE");
    add("7&-1&0&1&0&0&bad point|6&999999&2&1&0&0&bad point");
    EXPECT_EQ(Talwen::SVID_List.at(7).sv_name, "");
    add("|1&0&0&1&0&0&a|");  // an empty record has id 0
    EXPECT_EQ(Talwen::SVID_List.begin()->first, 0);
    EXPECT_EQ(Talwen::SVID_List.size(), 6U);
}

TEST_F(Variable_Tables_Test, CutsLongTexts) {
    add("1&0&0&1&0&0&" + std::string(1000, 'd') + "|2&0&0&1&0&0&next");
    EXPECT_EQ(Talwen::SVID_List.at(1).description, std::string(199, 'd'));
    EXPECT_EQ(Talwen::SVID_List.at(2).description, "next");
    // A record has 299 bytes; what stands behind them is lost.
    add("3&0&0&" + std::string(280, '0') + "1&0&0&lost|4&0&0&1&0&0&next");
    EXPECT_EQ(Talwen::SVID_List.at(3).max, 1.0);
    EXPECT_EQ(Talwen::SVID_List.at(3).description, "lost");
    add("3&0&0&" + std::string(286, '0') + "1&0&0&lost|4&0&0&1&0&0&next");
    EXPECT_EQ(Talwen::SVID_List.at(3).max, 1.0);
    EXPECT_EQ(Talwen::SVID_List.at(3).description, "l");
}

TEST_F(Variable_Tables_Test, KeepsTheTablesApart) {
    const auto add_to = [this](bool (Talwen::BC_FA::*operation)(char*), std::string text) {
        EXPECT_TRUE((fa.*operation)(text.data()));
    };
    add_to(&Talwen::BC_FA::QFA_Add_SVID_List, "1&0&0&1&0&0&s");
    add_to(&Talwen::BC_FA::QFA_Add_ECID_List, "2&0&0&1&0&0&e");
    add_to(&Talwen::BC_FA::QFA_Add_RVID_List, "3&0&0&1&0&0&r");
    add_to(&Talwen::BC_FA::QFA_Add_DVID_List, "4&0&0&1&0&0&d");
    EXPECT_TRUE(fa.QFA_Get_All_SVID_List() && fa.QFA_Get_All_ECID_List() && fa.QFA_Get_All_RVID_List() &&
                fa.QFA_Get_All_DVID_List());

    Talwen::SVID_STRU* s = nullptr;
    Talwen::ECID_STRU* e = nullptr;
    Talwen::RVID_STRU* r = nullptr;
    Talwen::DVID_STRU* d = nullptr;
    EXPECT_TRUE(fa.QFA_Get_SVID_Stru(1, &s) && fa.QFA_Get_ECID_Stru(2, &e) && fa.QFA_Get_RVID_Stru(3, &r) &&
                fa.QFA_Get_DVID_Stru(4, &d));
    EXPECT_EQ(s->description + e->description + r->description + d->description, "serd");
    Talwen::SVID_STRU* untouched = s;
    EXPECT_FALSE(fa.QFA_Get_SVID_Stru(2, &s));
    EXPECT_EQ(s, untouched);
    EXPECT_FALSE(fa.QFA_Get_DVID_Stru(1, &d));

    EXPECT_TRUE(fa.QFA_Remove_All_ECID_List());
    EXPECT_TRUE(Talwen::ECID_List.empty());
    EXPECT_EQ(Talwen::SVID_List.size() + Talwen::RVID_List.size() + Talwen::DVID_List.size(), 3U);
    EXPECT_TRUE(fa.QFA_Remove_All_SVID_List() && fa.QFA_Remove_All_RVID_List() &&
                fa.QFA_Remove_All_DVID_List());
    EXPECT_TRUE(Talwen::SVID_List.empty() && Talwen::RVID_List.empty() && Talwen::DVID_List.empty());
}

TEST_F(Variable_Tables_Test, FindsTheSmallestReportVariableOfAName) {
    std::string text = "30&0&1&0&0&0&|20&0&1&0&0&0&|10&1&1&0&0&0&";
    fa.QFA_Add_RVID_List(text.data());
    Talwen::RVID_STRU* record = nullptr;
    EXPECT_FALSE(fa.QFA_Get_RVID_Stru("temp", &record));
    EXPECT_FALSE(fa.QFA_Get_RVID_Stru("Tem", &record));
    EXPECT_EQ(record, nullptr);
    ASSERT_TRUE(fa.QFA_Get_RVID_Stru("Temp", &record));
    EXPECT_EQ(record->id, 20);
}

}  // namespace fa_test
