#include "sim/controller/events.h"

#include <gtest/gtest.h>

#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"
#include "sim/testing/capture.h"

namespace sim {
namespace {

/// Does what the event's text says.
class Module : public Talwen::QSequence {
  public:
    bool QProgram_Enter_Code(const char*) override {
        if (throws) throw std::runtime_error("no settings");
        return false;
    }
    void QProgram_Event_Code(const char* text) override {
        if (std::string(text) == "throw") throw std::runtime_error("broken\nevent");
        if (std::string(text) == "throw 7") throw 7;
        if (std::string(text) == "ask") QFA_Request_Local() && QFA_Report_Event_HOST_OFFLINE();
        heard.append(text).append(", ");
    }
    bool throws = false;
    std::string heard;
};

TEST(Events, AreHandledInTheOrderOfPostingAndFaultsAreReported) {
    for (const bool reacts : {true, false}) {
        machine().load_text(reacts ? "" : "tool.react = false");
        ConsoleCapture console;
        SystemLogCapture log;
        Module module;
        module.throws = reacts;
        ModuleRunner runner(module);
        EXPECT_FALSE(runner.start());
        EXPECT_EQ(runner.enter_fault(), reacts ? "exception left QProgram_Enter_Code: no settings"
                                               : "QProgram_Enter_Code returned false");
        for (const char* text : {"first", "second"}) post_event(text);
        EXPECT_EQ(post_event_and_wait("throw"), "exception left QProgram_Event_Code: broken\\nevent");
        EXPECT_EQ(post_event_and_wait("throw 7"), "exception left QProgram_Event_Code: not a std::exception");
        EXPECT_FALSE(post_event_and_wait("ask").has_value()) << "asked on the event thread itself";
        post_event("last");  // what was posted before the stop is still handled
        runner.stop();
        EXPECT_EQ(module.heard, reacts ? "first, second, ask, REQUEST_LOCAL, CTRLMODE_STATE 2, last, "
                                       : "first, second, ask, last, ");
        EXPECT_EQ(post_event_and_wait("late"), "the module does not run");
        EXPECT_EQ(console.count("QProgram_E") + log.count("QProgram_E"), 6U);
    }
}

}  // namespace
}  // namespace sim
