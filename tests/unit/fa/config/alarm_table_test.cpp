#include "fa/config/alarm_table.h"

#include "config_fixture.h"

namespace {

using namespace fa_test;

class Alarm_Table_Test : public Config_Test {
  protected:
    /// Takes over alarms of "ALID level"; the table then, "ALID ALCD index enable" for each record.
    std::string load(const std::string& list) {
        sim::machine().load_text(fake::alarms(fake::replaced(list, "(,|$)", " a$1")));
        EXPECT_TRUE(module->QFA_Get_All_ALID_List());
        return table();
    }
    static std::string table() {
        std::ostringstream all;
        for (const auto& [alid, r] : Talwen::ALID_List) {
            EXPECT_EQ(alid, r.ALID);
            all << alid << ' ' << int{r.ALCD} << ' ' << r.index << (r.enable ? " on; " : " off; ");
        }
        return all.str();
    }
};

TEST_F(Alarm_Table_Test, TakesTheFrameworksListAnewOnlyForAnotherNumberOfAlarms) {
    EXPECT_EQ(load("300 1,100 2,200 3"), "100 4 1 on; 200 5 2 on; 300 3 0 on; ");
    EXPECT_EQ(load(""), "");
    // An alarm without severity has the category before it.
    EXPECT_EQ(load("1 0,2 3,3 0,4 1,5 0"), "1 0 0 on; 2 5 1 on; 3 5 2 on; 4 3 3 on; 5 3 4 on; ");
    EXPECT_EQ(load("1 1,2 2"), "1 3 0 on; 2 4 1 on; ");
    EXPECT_TRUE(module->QFA_Set_ALID_Enable(2, false));
    EXPECT_EQ(load("7 3,8 3"), "1 3 0 on; 2 4 1 off; ");
    EXPECT_EQ(load("1 1,2 2,3 3"), "1 3 0 on; 2 4 1 on; 3 5 2 on; ");
    EXPECT_EQ(load("7 1,9 3,7 2,9 2"), "7 3 0 on; 9 5 1 on; ") << "the first of a number";
}

TEST_F(Alarm_Table_Test, EnablesOneAlarmOrAllByNumberFromZero) {
    load("10 1,11 2");
    EXPECT_TRUE(module->QFA_Set_ALID_Enable(10, false));
    EXPECT_FALSE(module->QFA_Set_ALID_Enable(999, false));
    EXPECT_EQ(table(), "10 3 0 off; 11 4 1 on; ");
    Talwen::ALID_STRU* record = nullptr;
    EXPECT_FALSE(module->QFA_Get_ALID_Stru(999, &record));
    EXPECT_EQ(record, nullptr);
    ASSERT_TRUE(module->QFA_Get_ALID_Stru(10, &record));
    EXPECT_TRUE(module->QFA_Set_ALID_Enable(10, true));
    EXPECT_TRUE(record->enable);

    load("100 1,200 2,300 3");
    module->QFA_Set_All_ALID_Enable(false);
    EXPECT_EQ(table(), "0 0 0 off; 1 0 0 off; 2 0 0 off; 100 3 0 on; 200 4 1 on; 300 5 2 on; ");
    module->QFA_Set_All_ALID_Enable(true);  // six records now
    EXPECT_EQ(Talwen::ALID_List.size(), 9U);
    EXPECT_TRUE(Talwen::ALID_List.at(0).enable);
    load("0 1,1 2,2 3,4 3");
    module->QFA_Set_All_ALID_Enable(false);
    EXPECT_EQ(table(), "0 3 0 off; 1 4 1 off; 2 5 2 off; 3 0 0 off; 4 5 3 on; ");
}

}  // namespace
