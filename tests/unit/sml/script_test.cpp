#include "sml/script.h"

#include <gtest/gtest.h>

#include "syntax.h"

namespace {

using sml::Action;

TEST(Script, EveryKindOfStep) {
    const auto steps = sml::parse_script(R"(# a comment
        S1F13 W <L>.   expect S1F14 <L <B 0> ...>.
        nowait 'S1F1' W.
        send S6F12 <B 0>.
        await S6F11 <L * <U4 100> *>.   // and another
        expect timeout
        wait 500 wait selected wait closed
        reconnect clear timeout 2000 quit
    )");
    using enum Action;
    std::vector<Action> actions;
    for (const auto& step : steps) actions.push_back(step.action);
    EXPECT_EQ(actions, (std::vector{send, expect, send_only, send, await, expect_timeout, pause,
                                    wait_selected, wait_closed, reconnect, clear, timeout, quit}));
    EXPECT_EQ(steps[0].message, sml::parse_message("S1F13 W <L>."));
    EXPECT_EQ(steps[1].pattern.function, 14);
    EXPECT_EQ(steps[1].place.line, 2U);
    EXPECT_EQ(steps[1].place.column, 24U);
    EXPECT_EQ(steps[3].message.function, 12);
    EXPECT_EQ(steps[6].duration.count() + steps[11].duration.count(), 500 + 2000);
    EXPECT_TRUE(sml::parse_script(" # only this").empty());
}

TEST(Script, ErrorsNameTheirPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"S1F1 W", "1:7 end of text"},
        {"S1F1 W.\nfoo", "2:1 'foo'"},
        {"S1F1 W.\n  expect S1F2 <L", "2:17 end of text"},
        {"expect", "1:7 end of text"},
        {"expect reply", "1:8 'reply'"},
        {"expect S1F2 <U4 1 *>.", "1:19 '*'"},
        {"S1F3 W <L *>.", "1:11 '*'"},  // nothing to send in a wildcard
        {"wait", "1:5 end of text"},
        {"wait open", "1:6 'open'"},
        {"wait -1", "1:6 '-1'"},
        {"wait 86400001", "1:6 '86400001'"},
        {"wait 1s", "1:6 '1s'"},
        {"timeout selected", "1:9 'selected'"},
        {"nowait wait 5", "1:8 'wait'"},
        {"/* ", "1:4 end of text"},
        {"<L>.", "1:1 '<'"},
    };
    for (const auto& [text, found] : cases) {
        const std::string got = found_by([&, text = text] { sml::parse_script(text); });
        EXPECT_EQ(got.substr(0, got.find("...")), found) << text;
    }
}

}  // namespace
