// What the reader accepts and what it says of what it does not.
#include "sml/reader.h"

#include <gtest/gtest.h>

#include "hsms/core/item_codec.h"
#include "marked_text.h"
#include "tests/support/bytes.h"

namespace {

using hsms::Item;
using namespace std::string_literals;

TEST(Reader, ItemsInEveryAcceptedSpelling) {
    const struct {
        const char *items, *wire;
    } rows[] = {
        {"<L> <L[0]\n> <l[2] <u4 7> <U4[1] 0x1f>>", "0100 0100 0102 B104 00000007 B104 0000001F"},
        {"/* a */<L // b\n<A># c\n>/**/ <L<A><U4/*x*/1>>", "0101 4100 0102 4100 B104 00000001"},
        {"<U4> <U4[3] 1 2 4294967295>", "B100 B10C 00000001 00000002 FFFFFFFF"},
        {R"(<A> <A ""> <A[5] "hello"> <A 'it is "so"'>)", "4100 4100 4105 'hello' 410A 'it is \"so\"'"},
        {R"(<A "a" 0x0D 10 "b"> <A 0 255> <A "<A>. /* */ # //">)",
         "4104 'a' 0D0A 'b' 4102 00FF 410F '<A>. /* */ # //'"},
        // The log quotes texts as they are; their count says where they end.
        {"<A[7] \"a\"\nb\"> \"> <A[3] \"ab\" 0x63>", "4107 'a\"\nb\"> ' 4103 'abc'"},
        {R"(<J "j"> <W "A" 0x4E2D>)", "4501 'j' 4904 0041 4E2D"},
        {"<BOOLEAN T F> <Bool[1] True> <bool false TRUE 2>", "2502 0100 2501 01 2503 000102"},
        {"<B 0x1F 31 -56 255> <I1 -128 127 +1 0x7F> <I2 -2>", "2104 1F1FC8FF 6504 807F017F 6902 FFFE"},
        {"<I8 -9223372036854775808> <U8 18446744073709551615>",
         "6108 8000000000000000 A108 FFFFFFFFFFFFFFFF"},
        {"<F4 1.5 -0.1 1e2 +2> <F4 inf -INF nan> <F8 1>",
         "9110 3FC00000 BDCCCCCD 42C80000 40000000 910C 7F800000 FF800000 7FC00000 8108 3FF0000000000000"},
        {"<F4 16777217>", "9104 4B800000"},  // the nearest F4
    };
    for (const auto& row : rows) {
        std::string wire;
        hsms::encode_item(sml::parse_item("<L "s + row.items + ">"), wire);
        EXPECT_EQ(to_hex(wire.substr(2)), to_hex(bytes(row.wire))) << row.items;
    }
}

TEST(Reader, Messages) {
    const Item pair = sml::parse_item("<L <U4 1001> <U4 1002>>");
    for (const char* text : {"S1F3 W <L <U4 1001> <U4 1002>>.", "\"s1f3\" w<L<U4 1001><U4 1002>>.",
                             "'S1F3' W\n<L[2]\n<U4[1] 1001>\n<U4[1] 1002>\n>\n."})
        EXPECT_EQ(sml::parse_message(text), (sml::Message{1, 3, true, pair})) << text;
    EXPECT_EQ(sml::parse_message("S1F1W."), (sml::Message{1, 1, true, {}}));
    EXPECT_EQ(sml::parse_message("  S127F255.  // the last"), (sml::Message{127, 255, false, {}}));
}

std::string what_of(const std::string& text) {
    try {
        sml::parse_message(text);
        return "accepted";
    } catch (const sml::SyntaxError& error) {
        return error.what();
    }
}

TEST(Reader, MistakesAreFoundInTheirPlace) {
    const char* const items =
        "<U1 ^256>|<U1 ^-1>|<I1 ^128>|<I1 ^-129>|<B ^256>|<U8 ^18446744073709551616>|<U4 ^1x>|<U4 ^0x>|"
        "<U4 ^\"1\">|<F4 ^1e99>|<F4 ^--1>|<F4 ^nan:0x3F800000>|<BOOLEAN ^yes>|<A ^hello>|<L <^U3 1>>|<^>|"
        "<L[^x]>|<L[1 ^<A>>|<L ^5>|<L>^>|<L ^...>|<U4 ^*>|^*.|<A \"\xE4\xBD\xA0\"> ^?|^X|<A \"abc^\n\">";
    for (const std::string& text : split(items, '|'))
        EXPECT_EQ(unlike_marked("S1F3 W " + text + ".", sml::parse_message), "") << text;
    const char* const messages =
        "/* \xE4\xBD\xA0 */\n\t^<\xE5>|^|S1F3 W^|S1F3 W <L^|S1F3 W <L <U4 1>\n> ^|S1F3 W <A \"abc^|"
        "S1F3 /* W.^|S1F3 W <L <U4 1>>^|^S128F1 W.|^S1F256 W.|^S1F W.|^hello|S1F1 W. ^S1F1 W.|S1F3 ^X.";
    for (const std::string& text : split(messages, '|'))
        EXPECT_EQ(unlike_marked(text, sml::parse_message), "") << text;
    std::string deep = "S1F3 W ";  // 128 lists may nest
    for (int level = 0; level < 1000000; ++level) deep += "<L";
    const std::pair<std::string, const char*> words[] = {
        {"S1F3 W <W \"\xC3\xA9\">.",
         "1:11: expected ASCII in quotes or codes such as 0x4E2D, found other characters"},
        {"S1F3 W <L[3] <U4 1>>.", "1:11: expected 3 elements, as the count says, found 1"},
        {"S1F3 W <A[3] \"ab\">.", "1:11: expected 3 elements, as the count says, found 2"},
        {"\x01", "1:1: expected a message such as S1F3, found byte 0x01"},
        {"\x7F", "1:1: expected a message such as S1F3, found byte 0x7F"},
        {"a~b", "1:1: expected a message such as S1F3, found 'a~b'"},
        {deep, "1:264: expected at most 128 lists in each other, found one more"},
        {deep.substr(0, 7 + 2 * 129) + std::string(129, '>') + ".",
         "1:264: expected at most 128 lists in each other, found one more"},
        {deep.substr(0, 7 + 2 * 128) + std::string(128, '>') + ".", "accepted"},
    };
    for (const auto& [text, error] : words) EXPECT_EQ(what_of(text), error);
}

}  // namespace
