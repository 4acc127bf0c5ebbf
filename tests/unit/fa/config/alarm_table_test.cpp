#include "fa/config/alarm_table.h"

#include <string>
#include <thread>

#include "config_fixture.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

struct Alarm {
    int id;
    int level;
};

class Alarm_Table_Test : public Config_Test {
  protected:
    void load(const std::vector<Alarm>& alarms) {
        std::string toml;
        for (const Alarm& alarm : alarms)
            toml += "[[alarm]]\nid = " + std::to_string(alarm.id) +
                    "\nlevel = " + std::to_string(alarm.level) + "\ntext = \"a\"\n";
        sim::machine().load_text(toml);
    }
    /// "ALID ALCD index enable", one text per record.
    static Texts table() {
        Texts all;
        for (const auto& [alid, r] : Talwen::ALID_List) {
            EXPECT_EQ(alid, r.ALID);
            all.push_back(std::to_string(alid) + ' ' + std::to_string(r.ALCD) + ' ' +
                          std::to_string(r.index) + ' ' + (r.enable ? "on" : "off"));
        }
        return all;
    }
};

}  // namespace

TEST_F(Alarm_Table_Test, TakesTheFrameworksList) {
    load({{300, 1}, {100, 2}, {200, 3}});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_EQ(table(), (Texts{"100 4 1 on", "200 5 2 on", "300 3 0 on"}));
    load({});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_EQ(table(), Texts{});
}

TEST_F(Alarm_Table_Test, AnAlarmWithoutSeverityHasTheCategoryBeforeIt) {
    load({{1, 0}, {2, 3}, {3, 0}, {4, 1}, {5, 0}});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_EQ(table(), (Texts{"1 0 0 on", "2 5 1 on", "3 5 2 on", "4 3 3 on", "5 3 4 on"}));
}

TEST_F(Alarm_Table_Test, IsBuiltAnewOnlyForAnotherNumberOfAlarms) {
    load({{1, 1}, {2, 2}});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_TRUE(fa.QFA_Set_ALID_Enable(2, false));
    load({{7, 3}, {8, 3}});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_EQ(table(), (Texts{"1 3 0 on", "2 4 1 off"}));
    load({{1, 1}, {2, 2}, {3, 3}});
    EXPECT_TRUE(fa.QFA_Get_All_ALID_List());
    EXPECT_EQ(table(), (Texts{"1 3 0 on", "2 4 1 on", "3 5 2 on"}));
}

TEST_F(Alarm_Table_Test, EnablesOneAlarm) {
    load({{10, 1}, {11, 2}});
    fa.QFA_Get_All_ALID_List();
    EXPECT_TRUE(fa.QFA_Set_ALID_Enable(10, false));
    EXPECT_FALSE(fa.QFA_Set_ALID_Enable(999, false));
    EXPECT_EQ(table(), (Texts{"10 3 0 off", "11 4 1 on"}));
    Talwen::ALID_STRU* record = nullptr;
    EXPECT_FALSE(fa.QFA_Get_ALID_Stru(999, &record));
    EXPECT_EQ(record, nullptr);
    ASSERT_TRUE(fa.QFA_Get_ALID_Stru(10, &record));
    EXPECT_TRUE(fa.QFA_Set_ALID_Enable(10, true));
    EXPECT_TRUE(record->enable);
}

TEST_F(Alarm_Table_Test, EnablesAllByNumberFromZero) {
    load({{100, 1}, {200, 2}, {300, 3}});
    fa.QFA_Get_All_ALID_List();
    fa.QFA_Set_All_ALID_Enable(false);
    EXPECT_EQ(table(),
              (Texts{"0 0 0 off", "1 0 0 off", "2 0 0 off", "100 3 0 on", "200 4 1 on", "300 5 2 on"}));
    fa.QFA_Set_All_ALID_Enable(true);  // six records now
    EXPECT_EQ(Talwen::ALID_List.size(), 9U);
    EXPECT_TRUE(Talwen::ALID_List.at(0).enable);

    load({{0, 1}, {1, 2}, {2, 3}, {4, 3}});
    fa.QFA_Get_All_ALID_List();
    fa.QFA_Set_All_ALID_Enable(false);
    EXPECT_EQ(table(), (Texts{"0 3 0 off", "1 4 1 off", "2 5 2 off", "3 0 0 off", "4 5 3 on"}));
}

TEST_F(Alarm_Table_Test, RecordsAreReadAndPostedWhileTheHostEnablesThem) {
    load({{1, 1}, {50, 2}});
    fa.QFA_Get_All_ALID_List();
    std::thread host([this] {
        for (int i = 0; i < 300; ++i) {
            fa.QFA_Set_ALID_Enable(1, i % 2 == 0);
            if (i % 50 == 0) fa.QFA_Set_All_ALID_Enable(i % 100 == 0);  // adds records
        }
    });
    Talwen::ALID_STRU* record = nullptr;
    for (int i = 0; i < 3000; ++i) {
        if (!fa.QFA_Get_ALID_Stru(1, &record)) break;
        const auto category = static_cast<unsigned char>(record->ALCD | 128);
        record->ALCD = static_cast<unsigned char>(record->enable ? category : category & 127);
    }
    host.join();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->ALCD & 127, 3);
    EXPECT_EQ(record->index, 0);
    EXPECT_EQ(record->ALID, 1);
    EXPECT_FALSE(record->enable);  // the 300th change
    EXPECT_TRUE(Talwen::ALID_List.at(50).enable);
}

}  // namespace fa_test
