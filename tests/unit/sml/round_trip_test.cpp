// Writer and reader are each other's inverse, for any item.
#include <gtest/gtest.h>
#include <random>

#include "sml/log_text.h"
#include "sml/reader.h"
#include "sml/writer.h"
#include "tests/support/bytes.h"

namespace {

using hsms::Format;
using hsms::FormatInfo;
using hsms::Item;
using namespace std::string_literals;

void expect_round_trip(const Item& item) {
    const sml::Message message{1, 3, true, item};
    const std::string indented = sml::to_sml(item, 12), logged = sml::log_text(message, true, 101, 0);
    ASSERT_EQ(sml::parse_message(sml::to_sml(message)), message) << sml::to_sml(message);
    ASSERT_EQ(sml::parse_item(indented), item) << indented;
    ASSERT_EQ(sml::parse_message(logged.substr(logged.find('\n'))).body, item) << logged;
}

// Bytes 0 to 255 at every place of an element, the other bytes the same or zero.
std::string all_byte_values(std::size_t width) {
    std::string bytes;
    for (unsigned value = 0; value < 256; ++value)
        for (std::size_t place = 0; place <= width; ++place)
            for (std::size_t i = 0; i < width; ++i)
                bytes += static_cast<char>(place == width || i == place ? value : 0U);
    return bytes;
}

TEST(RoundTrip, EveryByteValueInAnyNumberOfElements) {
    std::mt19937 random(1);
    for (const FormatInfo& row : hsms::format_table) {
        if (row.format == Format::list) continue;
        for (const std::size_t count : {0U, 1U, 2U, 3U, 17U, 100U, 1000U}) {
            std::string bytes(count * row.width, '\0');
            for (char& byte : bytes) byte = static_cast<char>(random() & 0xFFU);
            expect_round_trip({row.format, {}, bytes});
        }
        const std::string all = all_byte_values(row.width);
        expect_round_trip({row.format, {}, all});
        for (std::size_t at = 0; at < all.size(); at += row.width)  // each alone, beside nothing
            expect_round_trip({row.format, {}, all.substr(at, row.width)});
    }
}

TEST(RoundTrip, TextsOfQuotesControlCharactersAndUtf8) {
    // Among them UTF-8: whole, cut off within a character, a terminal's control sequence, overlong, beyond.
    const char* const texts =
        "\t\"\t\"\"\"\t'\ta\"b\t\r\n\t>\t<A>\ta // b\t/*\t# no comment\t \t...\t*\t\\n\t\x80\t\xFF\t\x7F\t"
        "\xE4\xBD\xA0\xE5\xA5\xBD\t\xE4\xBD\t\xC2\x9B["
        "1m\t\xC0\xAF\t\xED\xA0\x80\t\xF4\x90\x80\x80\t\xF0\x9F\x98\x80";
    for (const std::string& text : split(texts, '\t')) {
        expect_round_trip(Item::ascii(text));
        expect_round_trip(Item::list({Item::ascii(text), Item::ascii("next")}));
        for (const char byte : sml::to_sml(Item::ascii(text)))
            EXPECT_TRUE(static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F)
                << "control character is written";
    }
    expect_round_trip(Item::ascii("a\0b\0"s));
}

TEST(RoundTrip, Reals) {
    // Smallest and largest denormal, 0.1, largest, infinities, quiet and other NaNs.
    const char* const f8 =
        "0000000000000001 000FFFFFFFFFFFFF 3FB999999999999A 7FEFFFFFFFFFFFFF 7FF0000000000000 "
        "FFF0000000000000"
        "7FF8000000000000 FFF8000000000000 7FF0000000000001 FFFFFFFFFFFFFFFF 8000000000000000";
    const char* const f4 =
        "00000001 3DCCCCCD 7F7FFFFF 7F800000 FF800000 7FC00000 FFC00000 7F800001 FFFFFFFF 80000000";
    expect_round_trip({Format::f8, {}, bytes(f8)});
    expect_round_trip({Format::f4, {}, bytes(f4)});
}

TEST(RoundTrip, Lists) {
    Item deep = Item::ascii("bottom");
    for (int level = 0; level < 128; ++level) deep = Item::list({deep});
    const Item many = Item::list(std::vector<Item>(3000, Item::unsigned_integers(Format::u4, {1001})));
    const Item texts = Item::list(std::vector<Item>(40, Item::ascii("a text of some length")));
    for (const Item& item :
         {Item::list(), Item::list({Item::list(), Item::list({Item::list()})}), deep, many, texts})
        expect_round_trip(item);
}

TEST(Writer, Layout) {
    const Item ids = Item::unsigned_integers(Format::u4, {1001});
    const std::string filler(90, 'f');
    const std::pair<sml::Message, std::string> cases[] = {
        {{1, 1, true, {}}, "S1F1 W."},
        {{1, 3, true, Item::list({ids, ids})}, "S1F3 W <L <U4 1001> <U4 1001>>."},
        {{1, 3, false, Item::ascii("a\"\r\nü\xC2\x9B")}, R"(S1F3 <A "a" 0x22 0x0D 0x0A "ü" 0xC2 0x9B>.)"},
        {{1, 3, false, Item{Format::text2, {}, "\0A\x4E\x2D"s}}, "S1F3 <W 0x0041 0x4E2D>."},
        {{1, 3, false, Item{Format::boolean, {}, "\1\0\2"s}}, "S1F3 <BOOLEAN T F 0x02>."},
        {{1, 4, false, Item::list({Item::ascii(filler), Item::list({ids})})},
         "S1F4\n<L\n    <A \"" + filler + "\">\n    <L <U4 1001>>\n>."},
    };
    for (const auto& [message, text] : cases) EXPECT_EQ(sml::to_sml(message), text);
}

TEST(Writer, OneLineIsCut) {
    EXPECT_EQ(sml::one_line(Item::list({Item::ascii("a")})), "<L <A \"a\">>");
    EXPECT_EQ(sml::one_line(Item::ascii(std::string(1000, 'x')), 10), "<A \"xxxxxx...");
    // Never within a character.
    EXPECT_EQ(sml::one_line(Item::ascii("\xE4\xBD\xA0\xE5\xA5\xBD"), 5), "<A \"...");
    EXPECT_EQ(sml::one_line(Item::list(std::vector<Item>(5, Item::list())), 8), "<L <L> <...");
}

}  // namespace
