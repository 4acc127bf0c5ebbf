#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "fa/framework/qdb.h"
#include "fa/framework/qseqcon.h"
#include "sim/controller/calls.h"
#include "sim/machine/machine.h"

namespace sim {
namespace {

class Controller : public testing::Test {
  protected:
    Controller() {
        machine().load_text(
            "digital = [{name = 'D', value = 3}]\nfunction = [{name = 'F'}]\n"
            "string = [{name = 'S', value = 'start'}, {name = 'DVID.RejectName'}]\n"
            "carrier_module = [{name = 'LP1', slots = 2}]\nalarm = [{id = 1001}, {id = 1002}]");
    }
    Talwen::QSeqCon con;
};

TEST_F(Controller, BadIndicesAndValuesAreHarmless) {
    for (const int bad : {-99999999, -1, 2, 1000000}) {
        EXPECT_EQ(con.QDigital_Read(bad) + con.QAlarm_Get_ID(bad), 0);
        EXPECT_FALSE(con.QDigital_Write(bad, 1) || con.QIO_Set_CTC_CMx_WAFER_ID(bad, 0, "x"));
        EXPECT_STREQ(con.QString_Read(bad), con.QIO_Get_CTC_CMx_WAFER_ID(0, bad));
        EXPECT_EQ(con.QFunction_Run(bad, ""), Talwen::FUNC_FAILED);
    }
    EXPECT_THROW(machine().set_io("D", "1 2"), std::invalid_argument);
    EXPECT_THROW(machine().io("F"), std::invalid_argument) << "a function point has no value";
}

TEST_F(Controller, CallsAreCountedJournalledAndResultsCanBeSet) {
    std::string lines;
    set_journal_sink([&lines](std::string_view line) { lines.append(line).append("|"); });
    EXPECT_EQ(con.QSCH_RUN_F_SCHEDULER("%s%d(F)", "START", 1), Talwen::FUNC_FINISHED);
    for (const char* name : {"QSCH_RUN_F_SCHEDULER", "QSCH_EVENT_F_MAIN_MONITOR", "QDigital_Write"})
        ASSERT_TRUE(set_result(name, 0)) << name;
    EXPECT_EQ(con.QSCH_RUN_F_SCHEDULER("STOP1(F)"), 0);
    EXPECT_FALSE(con.QSCH_EVENT_F_MAIN_MONITOR("BUZZER:%d", 0) || con.QDigital_Write(0, 9));
    EXPECT_EQ(con.QDigital_Read(0), 3) << "a refused write changes nothing";
    con.QString_Write_Mem(0, "two words\nand a line");
    EXPECT_STREQ(con.QString_Read(0), "start") << "the live value is another";
    con.QFA_Set_DVID_RejectName("carrier");  // also writes the point named after it
    EXPECT_EQ(machine().io("DVID.RejectName") + machine().mem("DVID.RejectName"), "carriercarrier");
    con.QSystem_Log(Talwen::LOG_ERROR, "step %d", 4);
    Talwen::QDB_New_PM_Recipe({"PM1", "R", "why", {"s1", "s2"}});
    set_journal_sink(nullptr);
    con.QFA_Set_T3(46);
    EXPECT_EQ(
        lines,
        "QSCH_RUN_F_SCHEDULER START1(F)|QSCH_RUN_F_SCHEDULER STOP1(F)|QSCH_EVENT_F_MAIN_MONITOR BUZZER:0|"
        "QDigital_Write 0 9|QString_Write_Mem 0 two words\\nand a line|"
        "QFA_Set_DVID_RejectName carrier|QDB_New_PM_Recipe PM1 R why [s1, s2]|");
    EXPECT_EQ(calls("QSystem_Log")->arguments + std::to_string(calls("QDigital_Read")->count), "step 41");
    EXPECT_FALSE(set_result("QDigital_Read", 1)) << "a read has no settable result";
    for (const char* name : {"QPrint_Cyan", "QIO_Set_CTC_CMx_LOT_ID", "QDB_Get_PM_Recipe", "SetLocalTime"})
        EXPECT_TRUE(calls(name).has_value() && !calls("QNo_Such")) << name;
}

TEST_F(Controller, ATextStaysGoodForDozensOfReadsWhileOthersWrite) {
    const std::string texts[] = {std::string(20, 'a'), std::string(200, 'b')};
    std::jthread writer([&](const std::stop_token& stop) {
        for (int i = 0; !stop.stop_requested(); ++i) con.QString_Write(0, texts[i % 2].c_str());
    });
    for (int round = 0; round < 2000; ++round) {
        const char* kept = con.QString_Read(0);
        const std::string copy = kept;
        for (int i = 0; i < 63; ++i) con.QString_Read(0);
        ASSERT_TRUE(copy == kept && (copy == "start" || copy == texts[0] || copy == texts[1])) << copy;
    }
}

}  // namespace
}  // namespace sim
