// The pure parts of the host's commands: definition files, words, and the live screen's model.
#include <gtest/gtest.h>
#include <sstream>

#include "apps/host/commands.h"
#include "apps/host/definitions.h"
#include "apps/host/watch_model.h"
#include "syntax.h"

namespace {

using namespace std::chrono_literals;
using host::Direction;

host::Definitions definitions(const std::string& text) {
    std::istringstream file(text);
    return host::parse_definitions(file);
}

TEST(Definitions, AFileIsReadWhole) {
    const auto read = definitions(
        "# wafers\r\n\n  dataid 7\nreport 1 PortID=9001 9002 // two\nreport 2 5\nevent 30301 2 1\n"
        "enable all\ndisable 30301\ndisable 4 5");
    EXPECT_EQ(read.dataid, 7U);
    ASSERT_EQ(read.reports.size(), 2U);
    EXPECT_EQ(read.reports[0].rvids, (std::vector<std::uint32_t>{9001, 9002}));
    EXPECT_EQ(read.reports[0].names, (std::vector<std::string>{"PortID", "9002"}));
    ASSERT_EQ(read.events.size(), 1U);
    EXPECT_EQ(read.events[0].rptids, (std::vector<std::uint32_t>{2, 1}));
    EXPECT_TRUE(read.enable.all);
    EXPECT_EQ(read.disable.ceids, (std::vector<std::uint32_t>{30301, 4, 5}));
}

TEST(Definitions, AMistakeNamesItsPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"\nrapport 1 2", "2:1: expected report, event, enable, disable or dataid, found 'rapport'"},
        {"report", "1:7: expected an RPTID, found end of line"},
        {"report 1", "1:9: expected [NAME=]RVID, found end of line"},
        {"report 1 # 2", "1:10: expected [NAME=]RVID, found end of line"},
        {"report 1 a=b", "1:10: expected [NAME=]RVID, found 'a=b'"},
        {"report 1 4294967296", "1:10: expected [NAME=]RVID, found '4294967296'"},
        {"report -1 2", "1:8: expected an RPTID, found '-1'"},
        {"report 1 2\nreport 1 3", "2:8: expected an RPTID that is not defined above, found '1'"},
        {"report 1 2\nevent 9 2", "2:9: expected an RPTID that is defined above, found '2'"},
        {"report 1 2\nevent 9 1\nevent 9 1", "3:7: expected a CEID that is not linked above, found '9'"},
        {"event 9", "1:8: expected an RPTID, found end of line"},
        {"enable", "1:7: expected a CEID or all, found end of line"},
        {"enable all 5", "1:12: expected end of line, found '5'"},
        {"dataid \"1", "1:10: expected a closing quote or >, found end of line"},
    };
    for (const auto& [text, error] : cases)
        EXPECT_EQ(error_of([&, text = text] { definitions(text); }), error) << text;
}

TEST(Commands, ASlipIsFoundBeforeAnythingIsSent) {
    const std::pair<const char*, const char*> cases[] = {
        {"set 5", "expected a value, found end of line"},
        {"set x 5", "expected an ECID, found 'x'"},
        {"set 5 6 7", "expected end of line, found '7'"},
        {"trace 1 0 5 1001", "expected a period of 1 to 359999 seconds, found '0'"},
        {"trace 1 1 5", "expected an SVID, found end of line"},
        {"alarm 5", "expected on or off, found '5'"},
        {"alarm on 5 6", "expected end of line, found '6'"},
        {"command START PORTID", "expected NAME=VALUE, found 'PORTID'"},
        {"command START X=<U1 300>", "expected NAME=VALUE, found 'X=<U1 300>'"},
        {"spool S6 6", "expected none, SxFy or Sx, found '6'"},
        {"spool S128F1", "expected none, SxFy or Sx, found 'S128F1'"},
        {"spool S1F", "expected none, SxFy or Sx, found 'S1F'"},
        {"watch", "expected a command that scripts have too, found 'watch'"},
    };
    for (const auto& [line, error] : cases) {
        const auto steps = sml::parse_script(line, host::command_names());
        ASSERT_EQ(steps.size(), 1U);
        const std::string said = error_of([&] { host::prepare(steps[0], true); });
        EXPECT_NE(said.find(error), std::string::npos) << said;
    }
    const auto steps =
        sml::parse_script("S1F1 W. constants 1 2 # all\nS1F1\n W. clock", host::command_names());
    ASSERT_EQ(steps.size(), 4U);
    EXPECT_EQ(steps[1].action, sml::Action::command);
    EXPECT_EQ(steps[1].command, "constants 1 2 # all");
    EXPECT_EQ(steps[2].action, sml::Action::send);
    EXPECT_EQ(steps[3].command, "clock");
}

/// A model that knows report 1 as the substrate tracking report, and what it shows.
class Screen {
  public:
    void receive(const std::string& message) {
        model_.message(Direction::received, sml::parse_message(message), names_, now_, "12:00");
    }
    void track(int ceid, int port, int slot, const std::string& module = "", const std::string& id = "") {
        receive("S6F11 W <L <U4 0> <U4 " + std::to_string(ceid) + "> <L <L <U4 1> <L <U1 " +
                std::to_string(port) + "> <U1 " + std::to_string(slot) + "> <A \"" + module +
                "\"> <A \"SLOT1\"> <A \"" + id + "\">>>>>.");
    }
    bool shows(const std::string& line) const {
        return ("\n" + text()).find("\n" + line) != std::string::npos;
    }
    std::string text() const { return model_.text(now_); }

    host::WatchModel model_;
    host::Names names_{{{1, {"PortID", "SlotID", "ToMdlName", "ToMdlSlotID", "WaferID"}}}, {}};
    host::WatchModel::Time now_{};
};

TEST(LiveScreen, AWaferIsFollowedThroughTheTool) {
    Screen screen;
    const struct {
        int ceid;
        const char *module, *id, *line;
    } way[] = {
        {30201, "", "OLD", "  2.7                    port 2 slot 7        waiting"},
        {30301, "EFEM", "", "  2.7                    EFEM SLOT1           taken out"},
        {30302, "Aligner", "", "  2.7                    Aligner SLOT1        placed"},
        {30101, "", "W07", "  2.7   W07              Aligner SLOT1        id read"},
        {30302, "PM1", "", "  2.7   W07              PM1 SLOT1            placed"},
        {30401, "", "", "  2.7   W07              PM1 SLOT1            in process"},
        {30402, "", "", "  2.7   W07              PM1 SLOT1            processed"},
        {30304, "LP2", "", "  2.7   W07              LP2 SLOT1            put back"},
        {30202, "", "", "  2.7   W07              port 2 slot 7        done"},
        {30201, "", "", "  2.7                    port 2 slot 7        waiting"},  // the next lot's
    };
    for (const auto& step : way) {
        screen.track(step.ceid, 2, 7, step.module, step.id);
        EXPECT_TRUE(screen.shows(step.line)) << step.ceid << "\n" << screen.text();
    }
    screen.track(12101, 1, 1);  // no tracking event
    EXPECT_TRUE(screen.shows("wafers: 1\n")) << screen.text();
}

TEST(LiveScreen, StatesAlarmsAndRate) {
    Screen screen;
    EXPECT_TRUE(screen.shows("link not selected, control state unknown, 0.0 messages/s")) << screen.text();
    screen.model_.link(true);
    const std::pair<const char*, const char*> states[] = {
        {"S1F13 W <L>.", "communicating"},
        {"S6F11 <L <U4 0> <U4 10104> <L>>.", "on-line remote"},
        {"S1F16 <B 0>.", "off-line"},
        {"S1F18 <B 1>.", "off-line"},  // not allowed
        {"S1F18 <B 0>.", "on-line"},
        {"S6F11 <L <U4 0> <U4 10103> <L>>.", "on-line local"},
        {"S1F0.", "off-line"},
    };
    for (const auto& [message, state] : states) {
        screen.receive(message);
        EXPECT_TRUE(screen.shows(std::string("link selected, control state ") + state + ",")) << message;
    }
    screen.receive("S5F1 <L <B 0x85> <U4 7> <A \"too hot\">>.");
    screen.receive("S5F6 <L <L <B 0x05> <U4 8> <A \"a\">> <L <B 0x84> <U4 9> <A \"b\">> <L>>.");
    EXPECT_TRUE(screen.shows("alarms set: 2\n  7 \"too hot\"\n  9 b\n")) << screen.text();
    screen.receive("S5F1 <L <B 0x05> <U4 7> <A \"too hot\">>.");
    EXPECT_TRUE(screen.shows("alarms set: 1\n  9 b\n")) << screen.text();
    EXPECT_TRUE(screen.shows("last events:\n  12:00 alarm 7 cleared (category 5): \"too hot\"\n"));
    EXPECT_NE(screen.text().find(", 2.0 messages/s received, 0.0 sent"), std::string::npos) << screen.text();
    screen.now_ += 6s;
    EXPECT_NE(screen.text().find(", 0.0 messages/s received"), std::string::npos);
    screen.model_.link(false);
    EXPECT_TRUE(screen.shows("link not selected, control state unknown"));
}

TEST(LiveScreen, BodiesOfAnyShapeDoNoHarm) {
    Screen screen;
    for (const char* message :
         {"S6F11.", "S6F11 <L>.", "S6F11 <L <U4> <U4> <L>>.", "S6F11 <L <U4 1> <U4 30201> <L <L> <U4 5>>>.",
          "S6F11 <L <U4 1> <U4 30201> <L <L <U4 1> <L <A \"x\"> <L> <L> <L> <L>>>>>.", "S5F1 <B 1>.",
          "S5F1 <L <L> <L> <L>>.", "S5F6 <A \"\">.", "S6F1 <L <U4> <U4> <A> <U4 1>>.", "S1F16.",
          "S1F18 <L>."})
        screen.receive(message);
    EXPECT_TRUE(screen.shows("wafers: 0\nalarms set: 0\n")) << screen.text();
}

}  // namespace
