// What the reader accepts and what it says of what it does not.
#include "sml/reader.h"

#include <gtest/gtest.h>

#include "syntax.h"

namespace {

using hsms::Format;
using hsms::Item;
using namespace std::string_literals;

Item u4(std::vector<std::uint64_t> values) {
    return Item::unsigned_integers(Format::u4, values);
}

TEST(Reader, ItemsInEveryAcceptedSpelling) {
    const std::pair<std::string, Item> cases[] = {
        {"<L>", Item::list()},
        {"<L[0]\n>", Item::list()},
        {"<l[2] <u4 7> <U4[1] 0x1f>>", Item::list({u4({7}), u4({31})})},
        {"<U4>", u4({})},
        {"<U4[3] 1 2 4294967295>", u4({1, 2, 0xFFFFFFFF})},
        {"<A>", Item::ascii("")},
        {"<A \"\">", Item::ascii("")},
        {"<A[5] \"hello\">", Item::ascii("hello")},
        {"<A 'it is \"so\"'>", Item::ascii("it is \"so\"")},
        {"<A \"a\" 0x0D 10 \"b\">", Item::ascii("a\r\nb")},
        {"<A 0 255>", Item::ascii("\0\xFF"s)},
        {"<A \"<A>. /* */ # //\">", Item::ascii("<A>. /* */ # //")},
        {"<A[7] \"a\"\nb\"> \">", Item::ascii("a\"\nb\"> ")},  // the log quotes texts as they are
        {"<A[3] \"ab\" 0x63>", Item::ascii("abc")},
        {"<J \"j\">", {Format::jis8, {}, "j"}},
        {"<W \"A\" 0x4E2D>", {Format::text2, {}, "\0A\x4E\x2D"s}},
        {"<BOOLEAN T F>", {Format::boolean, {}, "\1\0"s}},
        {"<Bool[1] True>", {Format::boolean, {}, "\1"s}},
        {"<bool false TRUE 2>", {Format::boolean, {}, "\0\1\2"s}},
        {"<B 0x1F 31 -56 255>", Item::binary("\x1F\x1F\xC8\xFF")},
        {"<I1 -128 127 +1 0x7F>", {Format::i1, {}, "\x80\x7F\x01\x7F"s}},
        {"<I2 -2>", {Format::i2, {}, "\xFF\xFE"s}},
        {"<I8 -9223372036854775808>", {Format::i8, {}, "\x80\0\0\0\0\0\0\0"s}},
        {"<U8 18446744073709551615>", {Format::u8, {}, std::string(8, '\xFF')}},
        {"<F4 1.5 -0.1 1e2 +2>", {Format::f4, {}, "\x3F\xC0\0\0\xBD\xCC\xCC\xCD\x42\xC8\0\0\x40\0\0\0"s}},
        {"<F4 inf -INF nan>", {Format::f4, {}, "\x7F\x80\0\0\xFF\x80\0\0\x7F\xC0\0\0"s}},
        {"<F4 16777217>", {Format::f4, {}, "\x4B\x80\0\0"s}},  // the nearest F4
        {"<F8 1>", {Format::f8, {}, "\x3F\xF0\0\0\0\0\0\0"s}},
        {"/* a */<L // b\n<A># c\n>/**/", Item::list({Item::ascii("")})},
        {"<L<A><U4/*x*/1>>", Item::list({Item::ascii(""), u4({1})})},
    };
    for (const auto& [text, item] : cases) EXPECT_EQ(sml::parse_item(text), item) << text;
}

TEST(Reader, Messages) {
    const Item pair = Item::list({u4({1001}), u4({1002})});
    const std::pair<const char*, sml::Message> cases[] = {
        {"S1F3 W <L <U4 1001> <U4 1002>>.", {1, 3, true, pair}},
        {"'S1F3'\n<L[2]\n<U4[1] 1001>\n<U4[1] 1002>\n>\n.", {1, 3, false, pair}},
        {"\"s1f3\" w<L<U4 1001><U4 1002>>.", {1, 3, true, pair}},
        {"S1F1W.", {1, 1, true, {}}},
        {"  S127F255.  // the last", {127, 255, false, {}}},
        {"S6F12 <B 0>.", {6, 12, false, Item::binary("\0"s)}},
    };
    for (const auto& [text, message] : cases) EXPECT_EQ(sml::parse_message(text), message) << text;
}

std::string nested(int depth) {
    std::string text;
    for (int level = 0; level < depth; ++level) text += "<L";
    return text + std::string(static_cast<std::size_t>(depth), '>');
}

TEST(Reader, ErrorsNameTheirPlace) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "1:1 end of text..."},
        {"S1F3 W", "1:7 end of text..."},
        {"S1F3 W <L", "1:10 end of text..."},
        {"S1F3 W <L <U4 1>\n> ", "2:3 end of text..."},
        {"S1F3 W <A \"abc", "1:15 end of text..."},
        {"S1F3 /* W.", "1:11 end of text..."},
        {"S1F3 W <A \"abc\n\">.", "1:15 end of line"},
        {"S1F3 W <U1 256>.", "1:12 '256'"},
        {"S1F3 W <U1 -1>.", "1:12 '-1'"},
        {"S1F3 W <I1 128>.", "1:12 '128'"},
        {"S1F3 W <I1 -129>.", "1:12 '-129'"},
        {"S1F3 W <B 256>.", "1:11 '256'"},
        {"S1F3 W <U8 18446744073709551616>.", "1:12 '18446744073709551616'"},
        {"S1F3 W <U4 1x>.", "1:12 '1x'"},
        {"S1F3 W <U4 0x>.", "1:12 '0x'"},
        {"S1F3 W <U4 \"1\">.", "1:12 '\"'"},
        {"S1F3 W <F4 1e99>.", "1:12 '1e99'"},
        {"S1F3 W <F4 --1>.", "1:12 '--1'"},
        {"S1F3 W <F4 nan:0x3F800000>.", "1:12 'nan:0x3F800000'"},
        {"S1F3 W <BOOLEAN yes>.", "1:17 'yes'"},
        {"S1F3 W <A hello>.", "1:11 'hello'"},
        {"S1F3 W <W \"\xC3\xA9\">.", "1:11 other characters"},
        {"S1F3 W <L <U3 1>>.", "1:12 'U3'"},
        {"S1F3 W <>.", "1:9 '>'"},
        {"S1F3 W <L[3] <U4 1>>.", "1:11 1"},
        {"S1F3 W <A[3] \"ab\">.", "1:11 2"},
        {"S1F3 W <L[x]>.", "1:11 'x'"},
        {"S1F3 W <L[1 <A>>.", "1:13 '<'"},
        {"S1F3 W <L 5>.", "1:11 '5'"},
        {"S1F3 W <L <U4 1>>", "1:18 end of text..."},
        {"S1F3 W <L>>.", "1:11 '>'"},
        {"S1F3 X.", "1:6 'X.'"},
        {"S128F1 W.", "1:1 'S128F1'"},
        {"S1F256 W.", "1:1 'S1F256'"},
        {"S1F W.", "1:1 'S1F'"},
        {"hello", "1:1 'hello'"},
        {"\x01", "1:1 byte 0x01"},
        {"S1F1 W. S1F1 W.", "1:9 'S1F1'"},
        {"S1F3 W *.", "1:8 '*.'"},
        {"S1F3 W <L ...>.", "1:11 '...'"},
        {"S1F3 W <U4 *>.", "1:12 '*'"},
        {"/* \xE4\xBD\xA0 */\n\t<\xE5>", "2:2 '<'"},  // columns are characters
        {"S1F3 <A \"\xE4\xBD\xA0\"> ?", "1:14 '?'"},
        {"S1F3 W " + nested(129) + ".", "1:264 one more"},
        {"S1F3 W " + nested(1000000) + ".", "1:264 one more"},
    };
    for (const auto& [text, found] : cases)
        EXPECT_EQ(found_by([&, text = text] { sml::parse_message(text); }), found) << text.substr(0, 60);
    EXPECT_EQ(error_of([] { sml::parse_message("S1F3 W\n  <L <U1 300>>."); }),
              "2:10: expected a U1 value (0 to 255), found '300'");
}

}  // namespace
