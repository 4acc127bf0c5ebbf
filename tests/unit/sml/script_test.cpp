#include "sml/script.h"

#include <gtest/gtest.h>

#include "sml/reader.h"

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
    const Action actions[] = {Action::send,      Action::expect,        Action::send_only,
                              Action::send,      Action::await,         Action::expect_timeout,
                              Action::pause,     Action::wait_selected, Action::wait_closed,
                              Action::reconnect, Action::clear,         Action::timeout,
                              Action::quit};
    ASSERT_EQ(steps.size(), std::size(actions));
    for (std::size_t i = 0; i < steps.size(); ++i) EXPECT_EQ(steps[i].action, actions[i]) << i;
    EXPECT_EQ(steps[0].message, sml::parse_message("S1F13 W <L>."));
    EXPECT_EQ(steps[1].pattern.function, 14);
    EXPECT_EQ(steps[1].place.line, 2U);
    EXPECT_EQ(steps[1].place.column, 24U);
    EXPECT_EQ(steps[3].message.function, 12);
    EXPECT_EQ(steps[6].duration.count(), 500);
    EXPECT_EQ(steps[11].duration.count(), 2000);
}

TEST(Script, NothingIsAScriptToo) {
    EXPECT_TRUE(sml::parse_script("").empty());
    EXPECT_TRUE(sml::parse_script(" # only this").empty());
}

TEST(Script, ErrorsNameTheirPlace) {
    const struct {
        const char* text;
        std::size_t line, column;
        const char* found;
    } cases[] = {
        {"S1F1 W", 1, 7, "end of text"},
        {"S1F1 W.\nfoo", 2, 1, "'foo'"},
        {"S1F1 W.\n  expect S1F2 <L", 2, 17, "end of text"},
        {"expect", 1, 7, "end of text"},
        {"expect reply", 1, 8, "'reply'"},
        {"expect S1F2 <U4 1 *>.", 1, 19, "'*'"},
        {"S1F3 W <L *>.", 1, 11, "'*'"},  // nothing to send in a wildcard
        {"wait", 1, 5, "end of text"},
        {"wait open", 1, 6, "'open'"},
        {"wait -1", 1, 6, "'-1'"},
        {"wait 99999999999", 1, 6, "'99999999999'"},
        {"wait 1s", 1, 6, "'1s'"},
        {"timeout selected", 1, 9, "'selected'"},
        {"nowait wait 5", 1, 8, "'wait'"},
        {"/* ", 1, 4, "end of text"},
        {"<L>.", 1, 1, "'<'"},
    };
    for (const auto& row : cases) {
        try {
            sml::parse_script(row.text);
            ADD_FAILURE() << "accepted: " << row.text;
        } catch (const sml::SyntaxError& error) {
            EXPECT_EQ(error.place.line, row.line) << row.text << "\n" << error.what();
            EXPECT_EQ(error.place.column, row.column) << row.text << "\n" << error.what();
            EXPECT_EQ(error.found, row.found) << row.text;
        }
    }
}

}  // namespace
