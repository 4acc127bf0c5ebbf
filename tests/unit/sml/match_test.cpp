#include "sml/match.h"

#include <gtest/gtest.h>

#include "sml/reader.h"
#include "tests/support/bytes.h"

namespace {

std::string compare(const std::string& pattern, const std::string& message) {
    return sml::difference(sml::parse_message_pattern(pattern), sml::parse_message(message)).value_or("");
}

TEST(Match, FirstDifference) {
    const struct {
        const char *pattern, *message, *difference;
    } cases[] = {
        {"S1F1 W.", "S1F1.", "expected W, got S1F1."},
        {"S1F2 *.", "S1F2.", "body: expected *, got none"},
        {"S1F2.", "S1F2 <L>.", "expected no body, got <L>"},
        {"S1F4 *.", "S1F0.", "expected S1F4, got S1F0."},
        {"S1F4 *.", "S2F4 <L>.", "expected S1F4, got S2F4 <L>."},
        {"S1F4 <L>.", "S1F4 <A>.", "body: expected <L>, got <A \"\">"},
        {"S1F4 <A>.", "S1F4 <L>.", "body: expected <A \"\">, got <L>"},
        {"S1F4 <L *>.", "S1F4 <L>.", "body: expected a list of 1, got a list of 0: <L>"},
        {"S1F4 <L *>.", "S1F4 <L <A> <B>>.", "body: expected a list of 1, got a list of 2: <L <A \"\"> <B>>"},
        {"S1F4 <L ...>.", "S1F4 <A>.", "body: expected <L ...>, got <A \"\">"},
        {"S1F4 <L * ...>.", "S1F4 <L>.", "body: expected a list of 1 or more, got a list of 0: <L>"},
        {"S1F4 <L * <L <U4 1001> *>>.", "S1F4 <L <B 0> <L <U4 1002> <A>>>.",
         "item 2.1: expected <U4 1001>, got <U4 1002>"},
        {"S1F4 <U4 1>.", "S1F4 <U2 1>.", "body: expected <U4 1>, got <U2 1>"},
        {"S1F4 <U4 1>.", "S1F4 <U4 1 1>.", "body: expected <U4 1>, got <U4 1 1>"},
        {"S1F4 <L <U4 *>>.", "S1F4 <L <A \"-\">>.", "item 1: expected <U4 *>, got <A \"-\">"},
        {"S1F4 <F4 0>.", "S1F4 <F4 -0>.", "body: expected <F4 0>, got <F4 -0>"},  // other bytes
    };
    for (const auto& row : cases) EXPECT_EQ(compare(row.pattern, row.message), row.difference) << row.pattern;
    const char* const alike =
        "S1F1.=S1F1 W.|S1F2 *.=S1F2 <L>.|S1F4 <L * *>.=S1F4 <L <A> <L <A>>>.|S1F4 <L ...>.=S1F4 <L>.|"
        "S1F4 <L ...>.=S1F4 <L <A> <A>>.|S1F4 <U4 *>.=S1F4 <U4 1 1>.|S1F4 <U4 *>.=S1F4 <U4>.|"
        "S1F4 <F4 nan>.=S1F4 <F4 nan>.";
    for (const std::string& pair : split(alike, '|'))
        EXPECT_EQ(compare(split(pair, '=')[0], split(pair, '=')[1]), "") << pair;
}

TEST(Match, PatternsThatAreNone) {
    for (const std::string& text : split("<L ... *>|<L ...|<U4 * 1>|<U4 1 *>|* *|...|<A ...>", '|'))
        EXPECT_THROW(sml::parse_pattern(text), sml::SyntaxError) << text;
}

}  // namespace
