#include "sim/events.h"

#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "sim/capture.h"
#include "sim/clock.h"
#include "sim/machine.h"
#include "sim/module_runner.h"

namespace sim {
namespace {

/// A module that notes what it is told.
class Recorder : public Talwen::QSequence {
  public:
    bool QProgram_Enter_Code(const char*) override {
        if (throw_on_enter) throw std::runtime_error("no settings");
        return enter_result;
    }
    Talwen::FUNC_STATUS QProgram_Main_Code(const char*) override {
        while (Stop_Request == 0) Talwen::QTime_MSleep(1);
        return Talwen::FUNC_FINISHED;
    }
    void QProgram_Event_Code(const char* text) override {
        if (std::string(text) == "throw") throw std::runtime_error("broken\nevent");
        if (std::string(text) == "throw 7") throw 7;
        if (std::string(text) == "ask") QFA_Request_Local();
        events.push_back(text);
        event_thread = std::this_thread::get_id();
    }
    void QProgram_Exit_Code() override { events.emplace_back("exit"); }

    bool throw_on_enter = false;
    bool enter_result = true;
    std::vector<std::string> events;  // read after the runner has stopped
    std::thread::id event_thread;
};

using Texts = std::vector<std::string>;

TEST(Events, AreHandledOneByOneInTheOrderOfPosting) {
    machine().reset();
    Recorder module;
    ModuleRunner runner(module);
    EXPECT_TRUE(runner.start());
    for (int i = 0; i < 50; ++i) post_event(std::to_string(i));
    EXPECT_FALSE(post_event_and_wait("last").has_value());
    post_event("after");  // what was posted before the stop is still handled
    runner.stop();
    ASSERT_EQ(module.events.size(), 53U);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(module.events[static_cast<std::size_t>(i)], std::to_string(i));
    EXPECT_EQ(Texts(module.events.end() - 3, module.events.end()), (Texts{"last", "after", "exit"}));
    EXPECT_NE(module.event_thread, std::this_thread::get_id());
    EXPECT_EQ(post_event_and_wait("late"), "the module does not run");
}

TEST(Events, ControlRequestsAreAnsweredOnTheEventThread) {
    machine().load_text("[tool]\nreact = true\n");
    Recorder module;
    ModuleRunner runner(module);
    runner.start();
    EXPECT_FALSE(post_event_and_wait("ask").has_value()) << "asked on the event thread itself";
    module.QFA_Report_Event_EQUIP_OFFLINE();
    module.QFA_Report_Event_HOST_OFFLINE();
    module.QFA_Report_Event_ONLINE_LOCAL();
    module.QFA_Report_Event_ONLINE_REMOTE();
    module.QFA_Request_Offline();
    module.QFA_Request_Remote();
    runner.stop();
    EXPECT_EQ(module.events,
              (Texts{"ask", "REQUEST_LOCAL", "CTRLMODE_STATE 1", "CTRLMODE_STATE 2", "CTRLMODE_STATE 3",
                     "CTRLMODE_STATE 4", "REQUEST_OFFLINE", "REQUEST_REMOTE", "exit"}));
}

TEST(Events, AToolThatDoesNotReactPostsNothing) {
    machine().load_text("[tool]\nreact = false\n");
    take_posted_events();
    Talwen::QSeqCon con;
    EXPECT_TRUE(con.QFA_Request_Remote());
    EXPECT_TRUE(con.QFA_Report_Event_ONLINE_REMOTE());
    EXPECT_TRUE(take_posted_events().empty());
    machine().load_text("[tool]\nreact = true\n");
    con.QFA_Request_Remote();
    EXPECT_EQ(take_posted_events(), Texts{"REQUEST_REMOTE"}) << "kept while no module runs";
}

TEST(Events, ExceptionsAreReportedAndTheModuleRunsOn) {
    ConsoleCapture console;
    SystemLogCapture log;
    Recorder module;
    module.throw_on_enter = true;
    ModuleRunner runner(module);
    EXPECT_FALSE(runner.start());
    EXPECT_EQ(runner.enter_fault(), "exception left QProgram_Enter_Code: no settings");
    EXPECT_EQ(post_event_and_wait("throw"), "exception left QProgram_Event_Code: broken\\nevent");
    EXPECT_EQ(post_event_and_wait("throw 7"), "exception left QProgram_Event_Code: not a std::exception");
    EXPECT_FALSE(post_event_and_wait("next").has_value());
    EXPECT_TRUE(runner.main_running());
    runner.stop();
    EXPECT_EQ(module.events, (Texts{"next", "exit"}));
    EXPECT_EQ(console.count("exception left"), 3U);
    EXPECT_EQ(log.count("exception left"), 3U);
}

TEST(Events, AFalseResultOfEnteringIsReported) {
    ConsoleCapture console;
    Recorder module;
    module.enter_result = false;
    ModuleRunner runner(module);
    EXPECT_FALSE(runner.start());
    runner.stop();
    EXPECT_EQ(runner.enter_fault(), "QProgram_Enter_Code returned false");
    EXPECT_EQ(console.count("QProgram_Enter_Code returned false"), 1U);
}

TEST(Clock, SixteenDigitsThatFollowTheOffset) {
    const std::string now = Talwen::QTime_Get_DateTimeID2_Str();
    ASSERT_EQ(now.size(), 16U);
    EXPECT_EQ(now.find_first_not_of("0123456789"), std::string::npos);
    set_clock_offset(std::chrono::hours(24 * 800));
    EXPECT_GE(std::stoi(clock_text().substr(0, 4)), std::stoi(now.substr(0, 4)) + 2);
    set_clock_offset({});
}

}  // namespace
}  // namespace sim
