#include "sml/script.h"

#include <gtest/gtest.h>

#include "marked_text.h"
#include "sml/reader.h"
#include "tests/support/bytes.h"

namespace {

TEST(Script, EveryKindOfStep) {
    const auto steps = sml::parse_script(
        "# a comment\n S1F13 W <L>.   expect S1F14 <L <B 0> ...>. nowait 'S1F1' W. s6f12 <B 0>.\n"
        "await S6F11 <L * <U4 100> *>. // and another\n"
        "expect timeout wait 500 wait selected wait closed wait communicating reconnect clear timeout 2000 "
        "quit");
    using enum sml::Action;
    std::vector<sml::Action> actions;
    for (const auto& step : steps) actions.push_back(step.action);
    EXPECT_EQ(actions,
              (std::vector{send, expect, send_only, send, await, expect_timeout, pause, wait_selected,
                           wait_closed, wait_communicating, reconnect, clear, timeout, quit}));
    EXPECT_EQ(steps[0].message, sml::parse_message("S1F13 W <L>."));
    EXPECT_EQ(steps[1].pattern.function, 14);
    EXPECT_EQ(steps[1].place.line, 2U);
    EXPECT_EQ(steps[1].place.column, 17U);
    EXPECT_EQ(steps[3].message.function, 12);
    EXPECT_EQ(steps[6].duration.count() + steps[12].duration.count(), 500 + 2000);
    EXPECT_TRUE(sml::parse_script(" # only this").empty());
}

TEST(Script, MistakesAreFoundInTheirPlace) {
    const char* const scripts =
        "S1F1 W^|S1F1 W.\n^foo|S1F1 W.\n  expect S1F2 <L^|expect^|expect ^reply|expect S1F2 <U4 1 ^*>.|"
        "S1F3 W <L ^*>.|wait^|wait ^open|wait ^-1|wait ^86400001|wait ^1s|timeout ^selected|"
        "nowait ^wait 5|/* ^|^<L>.";
    for (const std::string& text : split(scripts, '|'))
        EXPECT_EQ(unlike_marked(text, [](const auto& script) { sml::parse_script(script); }), "") << text;
}

}  // namespace
