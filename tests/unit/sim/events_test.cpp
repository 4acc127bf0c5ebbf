#include "sim/controller/events.h"

#include <functional>
#include <stdexcept>
#include <thread>

#include "recorder.h"
#include "sim/machine/machine.h"
#include "sim/testing/capture.h"

namespace sim {
namespace {

/// Does what the event's text says.
class Module : public Recorder {
  public:
    bool QProgram_Enter_Code(const char*) override { return enter(); }
    void QProgram_Event_Code(const char* text) override {
        thread = std::this_thread::get_id();
        if (std::string(text) == "throw") throw std::runtime_error("broken\nevent");
        if (std::string(text) == "throw 7") throw 7;
        if (std::string(text) == "ask") QFA_Request_Local();
        Recorder::QProgram_Event_Code(text);
    }
    void QProgram_Exit_Code() override { Recorder::QProgram_Event_Code("exit"); }

    std::function<bool()> enter = [] { return true; };
    std::thread::id thread;
};

TEST(Events, AreHandledOneByOneInTheOrderOfPosting) {
    machine().reset();
    Module module;
    ModuleRunner runner(module);
    EXPECT_TRUE(runner.start());
    Texts posted;
    for (int i = 0; i < 50; ++i) posted.push_back(std::to_string(i));
    for (const std::string& text : posted) post_event(text);
    EXPECT_FALSE(post_event_and_wait("last").has_value());
    post_event("after");  // what was posted before the stop is still handled
    runner.stop();
    posted.insert(posted.end(), {"last", "after", "exit"});
    EXPECT_EQ(module.heard(), posted);
    EXPECT_NE(module.thread, std::this_thread::get_id());
    EXPECT_EQ(post_event_and_wait("late"), "the module does not run");
}

TEST(Events, ControlRequestsAreAnsweredWhenTheToolReacts) {
    take_posted_events();
    for (const bool reacts : {false, true}) {
        machine().load_text(reacts ? "[tool]\nreact = true\n" : "[tool]\nreact = false\n");
        Talwen::QSeqCon con;
        EXPECT_TRUE(con.QFA_Request_Remote());
        EXPECT_TRUE(con.QFA_Report_Event_ONLINE_REMOTE());
        EXPECT_EQ(take_posted_events(), reacts ? Texts({"REQUEST_REMOTE", "CTRLMODE_STATE 4"}) : Texts());
    }
    Module module;
    ModuleRunner runner(module);
    runner.start();
    EXPECT_FALSE(post_event_and_wait("ask").has_value()) << "asked on the event thread itself";
    module.QFA_Report_Event_EQUIP_OFFLINE();
    module.QFA_Report_Event_HOST_OFFLINE();
    module.QFA_Report_Event_ONLINE_LOCAL();
    module.QFA_Request_Offline();
    runner.stop();
    EXPECT_EQ(module.heard(), (Texts{"ask", "REQUEST_LOCAL", "CTRLMODE_STATE 1", "CTRLMODE_STATE 2",
                                     "CTRLMODE_STATE 3", "REQUEST_OFFLINE", "exit"}));
}

TEST(Events, FaultsAreReportedAndTheModuleRunsOn) {
    const std::pair<std::function<bool()>, std::string> entering[] = {
        {[]() -> bool { throw std::runtime_error("no settings"); },
         "exception left QProgram_Enter_Code: no settings"},
        {[] { return false; }, "QProgram_Enter_Code returned false"},
    };
    for (const auto& [enter, fault] : entering) {
        ConsoleCapture console;
        SystemLogCapture log;
        Module module;
        module.enter = enter;
        ModuleRunner runner(module);
        EXPECT_FALSE(runner.start());
        EXPECT_EQ(runner.enter_fault(), fault);
        EXPECT_EQ(post_event_and_wait("throw"), "exception left QProgram_Event_Code: broken\\nevent");
        EXPECT_EQ(post_event_and_wait("throw 7"), "exception left QProgram_Event_Code: not a std::exception");
        EXPECT_FALSE(post_event_and_wait("next").has_value());
        EXPECT_TRUE(runner.main_running());
        runner.stop();
        EXPECT_EQ(module.heard(), (Texts{"next", "exit"}));
        for (const std::string& line : {fault, std::string("exception left QProgram_Event_Code")}) {
            const std::size_t times = line == fault ? 1 : 2;
            EXPECT_EQ(console.count(line), times) << line;
            EXPECT_EQ(log.count(line), times) << line;
        }
    }
}

}  // namespace
}  // namespace sim
