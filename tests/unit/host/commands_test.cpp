// Definition files, the words of commands, and the live screen's model.
#include "apps/host/commands/commands.h"

#include <gtest/gtest.h>
#include <sstream>

#include "../sml/marked_text.h"
#include "apps/host/commands/definitions.h"
#include "apps/host/watch/watch_model.h"
#include "sml/reader.h"
#include "tests/support/bytes.h"

namespace {

host::Definitions definitions(const std::string& text) {
    std::istringstream file(text);
    return host::parse_definitions(file);
}

TEST(Definitions, AFileIsReadWhole) {
    const auto read = definitions(
        "# wafers\r\n\n  dataid 7\nreport 1 PortID=9001 9002 // two\nreport 2 5\nevent 30301 2 1\n"
        "enable all\ndisable 30301\ndisable 4 5");
    EXPECT_EQ(read.dataid, 7U);
    EXPECT_EQ(read.reports.at(1).rvids, (std::vector<std::uint32_t>{5}));
    EXPECT_EQ(read.reports.at(0).rvids, (std::vector<std::uint32_t>{9001, 9002}));
    EXPECT_EQ(read.reports.at(0).names, (std::vector<std::string>{"PortID", "9002"}));
    EXPECT_EQ(read.events.at(0).rptids, (std::vector<std::uint32_t>{2, 1}));
    EXPECT_TRUE(read.enable.all);
    EXPECT_EQ(read.disable.ceids, (std::vector<std::uint32_t>{30301, 4, 5}));
}

TEST(Definitions, MistakesAreFoundInTheirPlace) {
    const char* const files =
        "\n^rapport 1 2|report^|report 1^|report 1 ^# 2|report 1 ^a=b|report 1 ^4294967296|report ^-1 2|"
        "report 1 2\nreport ^1 3|report 1 2\nevent 9 ^2|report 1 2\nevent 9 1\nevent ^9 1|event 9^|"
        "enable^|enable all ^5|dataid \"1^";
    for (const std::string& file : split(files, '|'))
        EXPECT_EQ(unlike_marked(file + "\n", definitions), "") << file;
}

TEST(Commands, ASlipIsFoundBeforeAnythingIsSent) {
    const char* const lines =
        "set 5^|set ^x 5|set 5 6 ^7|trace 1 ^0 5 1001|trace 1 1 5^|alarm ^5|alarm on 5 ^6|"
        "command START ^PORTID|command START ^X=<U1 300>|spool S6 ^6|spool ^S128F1|spool ^S1F|^watch";
    const auto prepare = [](const auto& line) {
        host::prepare(sml::parse_script(line, host::command_names())[0], true);
    };
    for (const std::string& line : split(lines, '|'))
        EXPECT_EQ(unlike_marked(line + "\n", prepare), "") << line;
    const auto steps =
        sml::parse_script("S1F1 W. constants 1 2 # all\nS1F1\n W. clock", host::command_names());
    std::string read;
    for (const auto& step : steps)
        read += step.action == sml::Action::command ? "[" + step.command + "]" : "message";
    EXPECT_EQ(read, "message[constants 1 2 # all]message[clock]");
}

/// A model that knows report 1 as the substrate tracking report.
struct LiveScreen : testing::Test {
    void receive(const std::string& message) {
        model.message(host::Direction::received, sml::parse_message(message), names, now, "12:00");
    }
    void expect_shown(const std::string& part) {
        EXPECT_NE(("\n" + model.text(now)).find(part), std::string::npos) << part << "\nin\n"
                                                                          << model.text(now);
    }

    host::WatchModel model;
    host::Names names{{{1, {"PortID", "SlotID", "ToMdlName", "ToMdlSlotID", "WaferID"}}}, {}};
    host::WatchModel::Time now{};
};

TEST_F(LiveScreen, AWaferIsFollowedThroughTheTool) {
    const struct {
        const char *ceid, *module, *id, *line;
    } way[] = {
        {"30201", "", "OLD", "                 port 2 slot 7        waiting"},
        {"30301", "EFEM", "", "                 EFEM SLOT1           taken out"},
        {"30302", "Aligner", "", "                 Aligner SLOT1        placed"},
        {"30101", "", "W07", "W07              Aligner SLOT1        id read"},
        {"30302", "PM1", "", "W07              PM1 SLOT1            placed"},
        {"30401", "", "", "W07              PM1 SLOT1            in process"},
        {"30402", "", "", "W07              PM1 SLOT1            processed"},
        {"30304", "LP2", "", "W07              LP2 SLOT1            put back"},
        {"30202", "", "", "W07              port 2 slot 7        done"},
        {"30201", "", "", "                 port 2 slot 7        waiting"},  // the next lot's
        {"12101", "X", "X", "\nwafers: 1\n"},                                // no tracking event
    };
    for (const auto& step : way) {
        receive("S6F11 W <L <U4 0> <U4 " + std::string(step.ceid) + "> <L <L <U4 1> <L <U1 2> <U1 7> <A \"" +
                step.module + "\"> <A \"SLOT1\"> <A \"" + step.id + "\">>>>>.");
        expect_shown((*step.line == '\n' ? "" : "\n  2.7   ") + std::string(step.line));
    }
}

TEST_F(LiveScreen, StatesAlarmsAndRate) {
    expect_shown("\nlink not selected, control state unknown, 0.0 messages/s");
    model.link(true);
    const char* const states =  // S1F18 with 1: not allowed
        "S1F13 W <L>.=communicating|S6F11 <L <U4 0> <U4 10104> <L>>.=on-line remote|S1F16 <B 0>.=off-line|"
        "S1F18 <B 1>.=off-line|S1F18 <B 0>.=on-line|S6F11 <L <U4 0> <U4 10103> <L>>.=on-line local|"
        "S1F0.=off-line";
    for (const std::string& state : split(states, '|')) {
        receive(split(state, '=')[0]);
        expect_shown("\nlink selected, control state " + split(state, '=')[1] + ",");
    }
    receive("S5F1 <L <B 0x85> <U4 7> <A \"too hot\">>.");
    receive("S5F6 <L <L <B 0x05> <U4 8> <A \"a\">> <L <B 0x84> <U4 9> <A \"b\">> <L>>.");
    expect_shown("\nalarms set: 2\n  7 \"too hot\"\n  9 b\n");
    receive("S5F1 <L <B 0x05> <U4 7> <A \"too hot\">>.");
    expect_shown("\nalarms set: 1\n  9 b\nlast events:\n  12:00 alarm 7 cleared (category 5): \"too hot\"\n");
    expect_shown(", 2.0 messages/s received, 0.0 sent");
    now += std::chrono::seconds(6);
    expect_shown(", 0.0 messages/s received");
    model.link(false);
    expect_shown("\nlink not selected, control state unknown");
}

TEST_F(LiveScreen, BodiesOfAnyShapeDoNoHarm) {
    const char* const messages =
        "S6F11.|S6F11 <L>.|S6F11 <L <U4> <U4> <L>>.|S6F11 <L <U4 1> <U4 30201> <L <L> <U4 5>>>.|"
        "S5F1 <B 1>.|S1F16.|S6F11 <L <U4 1> <U4 30201> <L <L <U4 1> <L <A \"x\"> <L> <L> <L> <L>>>>>.|"
        "S5F1 <L <L> <L> <L>>.|S5F6 <A \"\">.|S6F1 <L <U4> <U4> <A> <U4 1>>.|S1F18 <L>.";
    for (const std::string& message : split(messages, '|')) receive(message);
    expect_shown("\nwafers: 0\nalarms set: 0\n");
}

}  // namespace
