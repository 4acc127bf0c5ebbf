// Entry points, carrier-module points, threads and their end.
#include <atomic>
#include <thread>

#include "fa/module/module_threads.h"
#include "fa/module/point_table.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr int unbound = -99999999;

class Lifecycle : public fake::ModuleFixture {};

TEST_F(Lifecycle, PointsOfCarrierModulesAreBoundByName) {
    std::string toml;
    for (const char* n : {"1", "2", "3", "4", "5", "6"})
        toml += std::string("[[carrier_module]]\nname='LP") + n + "'\nslots=25\n";
    start_over(toml +
               "[[function]]\nname='SCHEDULER_INTERFACE_CM1'\n[[digital]]\nname='AccessModeStatus1'\n"
               "[[digital]]\nname='AccessModeStatus2'\n[[string]]\nname='CM6.PPID'\n");
    EXPECT_TRUE(module->QProgram_Init_Code());
    EXPECT_EQ(sim::calls("QFunction_Set_Regist_Info").value().arguments, "V20250101");
    const BC_FA copy(*module);
    EXPECT_FALSE(module->QProgram_Enter_Code(nullptr));
    EXPECT_EQ(calls("QIO_Find_PointF"), 6U * 9U);
    EXPECT_EQ(module->Point_F_LP_CONTROL(0), 0);
    EXPECT_EQ(module->Point_D_CM_AccessMode(1), 1);
    EXPECT_EQ(module->Point_S_CM_PPID(5), 0);
    EXPECT_EQ(module->Point_S_CM_CID(0), unbound);
    for (const int outside : {-1, 6, 100}) EXPECT_EQ(module->Point_D_CM_AccessMode(outside), unbound);
    EXPECT_EQ(BC_FA(copy).Point_D_CM_AccessMode(1), 1);
}

TEST_F(Lifecycle, EntrySucceedsWithEveryPointAndFileAndNotWithoutOne) {
    for (const char* file : {"FA_SAVE.inf", "ECID.cfg", "SVID.cfg", "RVID.cfg", "RPTID.cfg", "CEID.cfg",
                             "TRID.cfg", "TMSG.cfg", "SPOOLING.inf", "ECID_SAVE.inf"})
        folder.put(std::string("Z/FA/") + file, "");
    for (const bool whole : {true, false}) {
        std::string toml = "[[carrier_module]]\nname='LP1'\nslots=25\n";
        for (const Point_Binding& point : Point_Bindings) {
            const std::string name = fake::replaced(point.pattern, "%d", "1");
            const char* kind = point.type == IO_DIGITAL  ? "digital"
                               : point.type == IO_STRING ? "string"
                                                         : "function";
            toml += std::string("[[") + kind + "]]\nname='" + name + (whole ? "'\n" : "-'\n");
        }
        start_over(toml);
        EXPECT_EQ(module->QProgram_Enter_Code(""), whole);
    }
}

template <class Record>
void expect_lookup(BC_FA& fa, bool (BC_FA::*add)(Record), bool (BC_FA::*get)(int, Record**),
                   int Record::*id) {
    Record record;
    record.*id = 7;
    EXPECT_TRUE((fa.*add)(record));
    Record* found = nullptr;
    EXPECT_FALSE((fa.*get)(8, &found) || found != nullptr);
    ASSERT_TRUE((fa.*get)(7, &found));
    EXPECT_EQ(found->*id, 7);
}

TEST_F(Lifecycle, ControllersLookRecordsUpByNumber) {
    expect_lookup(*module, &BC_FA::QFA_Add_RPTID_List, &BC_FA::QFA_Get_RPTID_Stru, &RPTID_STRU::RPTID);
    expect_lookup(*module, &BC_FA::QFA_Add_CEID_List, &BC_FA::QFA_Get_CEID_Stru, &CEID_STRU::CEID);
    expect_lookup(*module, &BC_FA::QFA_Add_TRID_List, &BC_FA::QFA_Get_TRID_Stru, &TRID_STRU::TRID);
}

TEST_F(Lifecycle, DataIdsCountTo65535AndStartAgain) {
    for (unsigned long n = 0; n <= 65537; ++n) ASSERT_EQ(module->Unique_DATAID(), n % 65536);
}

TEST_F(Lifecycle, StopRequestEndsMainCodeAndBothThreads) {
    std::atomic<int> result{0};
    std::thread framework([&] { result = module->QProgram_Main_Code(nullptr); });
    ASSERT_TRUE(fake::driver().wait_until([] { return Main_Monitor_Running && TRID_Monitor_Running; }));
    const auto sleeps = calls("QTime_MSleep");
    ASSERT_TRUE(fake::driver().wait_until([=] { return calls("QTime_MSleep") > sleeps + 100; }));
    EXPECT_EQ(result, 0);  // it stays while the threads run
    module->Stop_Request = 1;
    framework.join();
    EXPECT_EQ(result, 3);
    ASSERT_TRUE(fake::driver().wait_until([] { return !Main_Monitor_Running && !TRID_Monitor_Running; }));
}

// No stop request: the destructor ends what still runs, also while an answer is awaited.
TEST_F(Lifecycle, DestructorEndsRunningThreadsAtSafePoints) {
    sim::machine().set_fa("T7", 30);
    Start_Module_Threads(*module);
    ASSERT_TRUE(fake::driver().wait_until([] { return fake::driver().count("connect  0") == 1; }));
    set_states("Comm_Status=1");
    QFA_Message_PushBack(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(fake::driver().wait_until([] { return fake::driver().count("send S1F1") == 1; }));
    module.reset();
    EXPECT_FALSE(Main_Monitor_Running || TRID_Monitor_Running);
    EXPECT_EQ(fake::driver().calls().back(), "destroy");
}

TEST_F(Lifecycle, ObjectThatNeverRanIsDestroyedAtOnceAndCallbacksWithoutItAreHarmless) {
    for (int i = 0; i < 3; ++i) module = std::make_unique<BC_FA>();
    module.reset();
    EXPECT_EQ(fake::driver().host_sends("S1F1 W."), static_cast<unsigned long>(-5L));
    EXPECT_EQ(fake::driver().replies(), "");
    EXPECT_FALSE(QFA_Message_PushBack(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr));
}

}  // namespace
