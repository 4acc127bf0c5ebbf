#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fa/framework/qdb.h"
#include "fa/framework/qseqcon.h"
#include "sim/controller/calls.h"
#include "sim/machine/machine.h"

namespace sim {
namespace {

using Talwen::QSeqCon;

class Controller : public testing::Test {
  protected:
    Controller() {
        machine().load_text(R"(
digital = [{name = 'D', value = 3}, {name = 'DVID.PortID'}]
string = [{name = 'S', value = 'start'}, {name = 'DVID.RejectName'}]
function = [{name = 'F'}]
carrier_module = [{name = 'LP1', slots = 2}]
alarm = [{id = 1001, text = 'door'}, {id = 1002, level = 3, text = 'water'}]
recipe = [{kind = 'cluster', name = 'C1', modules = ['PM1', 'PM2']}]
)");
    }

    QSeqCon con;
};

TEST_F(Controller, LiveAndMemoryValuesAreApart) {
    EXPECT_TRUE(con.QDigital_Write(0, 7));
    EXPECT_EQ(con.QDigital_Read(0), 7);
    EXPECT_EQ(con.QDigital_Read_Mem(0), 3);
    con.QString_Write_Mem(0, "held");
    EXPECT_STREQ(con.QString_Read(0), "start");
    EXPECT_EQ(machine().mem("S"), "held");
    con.QFA_Set_DVID_PortID(2);  // data variables also write the point named after them
    con.QFA_Set_DVID_RejectName("carrier");
    EXPECT_EQ(machine().dvid("SlotID"), "") << "never set";
    con.QFA_Set_DVID_SlotID(4);
    EXPECT_EQ(machine().io("DVID.PortID"), "2");
    EXPECT_EQ(machine().io("DVID.RejectName") + machine().mem("DVID.RejectName"), "carriercarrier");
    EXPECT_EQ(machine().dvid("SlotID"), "4");
}

TEST_F(Controller, BadIndicesAreHarmless) {
    for (const int bad : {-99999999, -1, 2, 1000000}) {
        EXPECT_EQ(con.QDigital_Read(bad), 0);
        EXPECT_FALSE(con.QDigital_Write(bad, 1));
        EXPECT_STREQ(con.QString_Read(bad), "");
        EXPECT_STREQ(con.QDigital_Get_Name(bad), "");
        EXPECT_STREQ(con.QIO_Get_CTC_CMx_WAFER_ID(0, bad), "");
        EXPECT_FALSE(con.QIO_Set_CTC_CMx_WAFER_ID(bad, 0, "x"));
        EXPECT_EQ(con.QAlarm_Get_ID(bad), 0);
        EXPECT_EQ(con.QFunction_Run(bad, ""), Talwen::FUNC_FAILED);
    }
}

TEST_F(Controller, CallsAreCountedAndResultsCanBeSet) {
    EXPECT_EQ(con.QSCH_RUN_F_SCHEDULER("%s%d(F) %s", "START", 1, "A"), Talwen::FUNC_FINISHED);
    EXPECT_TRUE(con.QSCH_EVENT_F_MAIN_MONITOR("BUZZER:%d", 1));
    ASSERT_TRUE(set_result("QSCH_RUN_F_SCHEDULER", 2));
    ASSERT_TRUE(set_result("QSCH_EVENT_F_MAIN_MONITOR", 0));
    ASSERT_TRUE(set_result("QDigital_Write", 0));
    EXPECT_EQ(con.QSCH_RUN_F_SCHEDULER("%s%d(F)", "STOP", 1), Talwen::FUNC_FAILED);
    EXPECT_FALSE(con.QSCH_EVENT_F_MAIN_MONITOR("BUZZER:%d", 0));
    EXPECT_FALSE(con.QDigital_Write(0, 9));
    EXPECT_EQ(con.QDigital_Read(0), 3) << "a refused write changes nothing";
    EXPECT_EQ(calls("QSCH_RUN_F_SCHEDULER")->count, 2U);
    EXPECT_EQ(calls("QSCH_RUN_F_SCHEDULER")->arguments, "STOP1(F)");
    EXPECT_EQ(calls("QDigital_Read")->count, 1U);
    con.QSystem_Log(Talwen::LOG_ERROR, "step %d", 4);
    EXPECT_EQ(calls("QSystem_Log")->arguments, "step 4");
    EXPECT_FALSE(calls("QNo_Such").has_value());
    EXPECT_FALSE(set_result("QDigital_Read", 1)) << "a read has no settable result";
}

TEST_F(Controller, TheJournalHoldsSettersInOrderWithAllArguments) {
    std::string lines;
    set_journal_sink([&lines](std::string_view line) { lines.append(line).append("|"); });
    con.QString_Write(0, "two words\nand a line");
    con.QString_Read(0);
    con.QIO_Set_CTC_CMx_LOT_ID(0, 1, "L1");
    con.QFA_Set_T3(45);
    con.QSystem_Log(Talwen::LOG_ERROR, "no setter");
    Talwen::QDB_New_LotRecipe({"L1", {"C1", "C2"}});
    Talwen::QDB_Save_ClusterRecipe({"C9", {"PM1"}, {}});
    Talwen::QDB_New_PM_Recipe({"PM1", "R", "why", {"s1", "s2"}});
    Talwen::QDB_Delete_PM_Recipe("PM1", "R");
    set_journal_sink(nullptr);
    con.QFA_Set_T3(46);
    EXPECT_EQ(lines,
              "QString_Write 0 two words\\nand a line|QIO_Set_CTC_CMx_LOT_ID 0 1 L1|QFA_Set_T3 45|"
              "QDB_New_LotRecipe L1 [C1, C2]|QDB_Save_ClusterRecipe C9 [PM1] []|"
              "QDB_New_PM_Recipe PM1 R why [s1, s2]|QDB_Delete_PM_Recipe PM1 R|");
}

TEST_F(Controller, AlarmQueueKeepsTheOrderOfPosting) {
    const auto queued = [&](int place) {
        int alarm = -1;
        int number = -1;
        return con.QAlarm_Queue_Point(place, &alarm, &number) ? con.QAlarm_Get_ID(alarm) : -1;
    };
    EXPECT_STREQ(con.QAlarm_Get_Post_Time(1), "");
    for (const int id : {1002, 1001, 1002}) machine().post_alarm(id);  // the last is on the queue already
    EXPECT_EQ(con.QAlarm_Queue_Count(), 2);
    EXPECT_EQ(queued(0), 1002);
    EXPECT_EQ(std::string(con.QAlarm_Get_Post_Time(1)).size(), 16U);
    machine().clear_alarm(1002);
    EXPECT_EQ(queued(0), 1001);
    EXPECT_EQ(queued(1), -1);
    EXPECT_THROW(machine().post_alarm(7), std::invalid_argument);

    machine().load_text("[[alarm]]\nid = 1\ntext = '" + std::string(600, 'x') + "'\n");
    std::array<char, 514> text{};
    text[512] = '!';
    ASSERT_TRUE(con.QAlarm_Get_Text_Full(0, text.data()));
    EXPECT_EQ(std::string(text.data()), std::string(511, 'x'));
    EXPECT_EQ(text[512], '!');
}

TEST_F(Controller, ACarrierFillsItsSlots) {
    machine().carrier_arrives(1, "CAR7");
    EXPECT_EQ(con.QIO_Get_CTC_CMx_CarrierID(0) + machine().ctc("CMx_Wafer_Status", 0, 1), "CAR71");
    EXPECT_NE(machine().ctc("CMx_WAFER_ID", 0, 0), machine().ctc("CMx_WAFER_ID", 0, 1));
    machine().carrier_removed(1);
    EXPECT_EQ(machine().ctc("CMx_Carrier", 0) + machine().ctc("CMx_Wafer_Status", 0, 1), "00");
    EXPECT_THROW(machine().carrier_arrives(2, "X"), std::invalid_argument);
}

TEST_F(Controller, RecipesAreFoundChangedAndCopiedOut) {
    EXPECT_TRUE(Talwen::QDB_Find_ClusterRecipe("any table", "C1"));
    EXPECT_FALSE(Talwen::QDB_New_ClusterRecipe({"C1", {}, {}})) << "there already";
    EXPECT_FALSE(Talwen::QDB_Save_LotRecipe({"L1", {}})) << "not there yet";
    EXPECT_TRUE(Talwen::QDB_New_LotRecipe({"L1", {"C1", std::string(70, 'c')}}));
    char rows[2][64];
    int count = -1;
    EXPECT_TRUE(Talwen::QDB_Get_LotRecipe("L1", rows, 1, &count));
    EXPECT_EQ(count, 1) << "cut to the array's height";
    EXPECT_TRUE(Talwen::QDB_Get_LotRecipe("L1", rows, 2, &count));
    EXPECT_EQ(std::string(rows[1]), std::string(63, 'c')) << "cut to the array's width";
    char modules[20][64];
    char recipes[20][64];
    ASSERT_TRUE(Talwen::QDB_Get_ClusterRecipe("C1", modules, recipes));
    EXPECT_EQ(modules[0] + std::string("|") + modules[1] + "|" + modules[2] + recipes[0], "PM1|PM2|");
    EXPECT_TRUE(Talwen::QDB_Delete_LotRecipe("L1"));
    EXPECT_FALSE(Talwen::QDB_Delete_LotRecipe("L1"));
}

TEST_F(Controller, ValuesThatDoNotFitAreRefused) {
    EXPECT_THROW(machine().set_io("D", "open"), std::invalid_argument);
    for (const char* bad : {"1 2", " "})
        EXPECT_THROW(machine().set_gem("PrnChk", bad), std::invalid_argument);
    EXPECT_THROW(machine().set_fa("NoSuch", 1), std::invalid_argument);
    EXPECT_THROW(machine().io("F"), std::invalid_argument) << "a function point has no value";
    machine().set_gem("PrnChk", " 7 ");
    machine().set_io("D", "  5");
    machine().set_io("S", "  5");
    EXPECT_EQ(machine().gem("PrnChk") + machine().io("D") + machine().io("S"), "75  5") << "blanks in a text";
    machine().set_io("S", "");
    EXPECT_STREQ(con.QString_Read(0), "");
    machine().set_fa("CtrlMD", 2);
    EXPECT_EQ(con.QFA_Get_CtrlMD(), 2);
}

// Texts read on one thread while others write them are always whole, and stay good for dozens of reads.
TEST_F(Controller, ReadersSeeWholeValuesWhileOthersWrite) {
    const std::string texts[] = {std::string(20, 'a'), std::string(200, 'b')};
    con.QString_Write(0, texts[0].c_str());
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
        writers.emplace_back([&, i] {
            QSeqCon other;
            while (!stop) {
                other.QString_Write(0, texts[i].c_str());
                other.QDigital_Write(0, i);
                other.QIO_Set_GEM_LotID("x");
                other.QFA_Set_LinkMD(i);
            }
        });
    }
    for (int round = 0; round < 2000; ++round) {
        const char* kept = con.QString_Read(0);
        const std::string copy = kept;
        EXPECT_TRUE(copy == texts[0] || copy == texts[1]) << copy;
        for (int i = 0; i < 63; ++i) con.QString_Read(0);
        ASSERT_EQ(copy, kept);
        con.QDigital_Read(0);
        con.QFA_Get_LinkMD();
    }
    stop = true;
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(calls("QString_Read")->count, 2000U * 64U);
}

}  // namespace
}  // namespace sim
