// Writer and reader are each other's inverse, whatever an item holds.
#include <bit>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "sml/reader.h"
#include "sml/writer.h"

namespace {

using hsms::ElementKind;
using hsms::Format;
using hsms::FormatInfo;
using hsms::Item;

void expect_round_trip(const Item& item) {
    const std::string text = sml::to_sml(item);
    ASSERT_EQ(sml::parse_item(text), item) << text;
    const std::string indented = sml::to_sml(item, 12);
    ASSERT_EQ(sml::parse_item(indented), item) << indented;
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

std::string random_bytes(std::mt19937& random, std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() & 0xFFU);
    return bytes;
}

class EveryFormat : public testing::TestWithParam<FormatInfo> {};

TEST_P(EveryFormat, PassesEveryByteValueInAnyNumberOfElements) {
    const FormatInfo& row = GetParam();
    std::mt19937 random(1);
    for (const std::size_t count : {0U, 1U, 2U, 3U, 17U, 100U, 1000U})
        expect_round_trip({row.format, {}, random_bytes(random, count * row.width)});
    const std::string all = all_byte_values(row.width);
    expect_round_trip({row.format, {}, all});
    for (std::size_t at = 0; at < all.size(); at += row.width)  // each alone, beside nothing
        expect_round_trip({row.format, {}, all.substr(at, row.width)});
}

INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat,
                         testing::ValuesIn(hsms::format_table.begin() + 1, hsms::format_table.end()),
                         [](const auto& named) { return std::string(named.param.tag); });

TEST(RoundTrip, TextsOfQuotesControlCharactersAndUtf8) {
    const std::string_view texts[] = {
        "",
        "\"",
        "\"\"\"",
        "'",
        "a\"b",
        "\r\n",
        ">",
        "<A>",
        "a // b",
        "/*",
        "# no comment",
        " ",
        "...",
        "*",
        "\\n",
        "\xE4\xBD\xA0\xE5\xA5\xBD",  // U+4F60 U+597D
        "\xE4\xBD",                  // cut off within a character
        "\xC2\x9B"
        "31m",  // U+009B, a terminal's control sequence
        "\xC0\xAF",
        "\xED\xA0\x80",
        "\xF4\x90\x80\x80",
        "\xF0\x9F\x98\x80",
        "\x80",
        "\xFF",
        "\x7F",
    };
    for (const std::string_view text : texts) {
        expect_round_trip(Item::ascii(text));
        expect_round_trip(Item::list({Item::ascii(text), Item::ascii("next")}));
        for (const char byte : sml::to_sml(Item::ascii(text)))
            EXPECT_TRUE(static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F)
                << "control character is written";
    }
    expect_round_trip(Item::ascii(std::string_view("a\0b\0", 4)));
}

TEST(RoundTrip, Reals) {
    const std::uint64_t doubles[] = {
        0x0000000000000000, 0x8000000000000000,                      // zeros
        0x0000000000000001, 0x000FFFFFFFFFFFFF,                      // denormal
        0x3FB999999999999A,                                          // 0.1
        0x7FEFFFFFFFFFFFFF, 0x7FF0000000000000, 0xFFF0000000000000,  // largest, infinities
        0x7FF8000000000000, 0xFFF8000000000000, 0x7FF0000000000001, 0xFFFFFFFFFFFFFFFF,  // NaNs
    };
    const std::uint32_t floats[] = {0x00000000, 0x80000000, 0x00000001, 0x3DCCCCCD, 0x7F7FFFFF, 0x7F800000,
                                    0xFF800000, 0x7FC00000, 0xFFC00000, 0x7F800001, 0xFFFFFFFF};
    Item f8{Format::f8, {}, {}};
    for (const std::uint64_t bits : doubles)
        for (unsigned shift = 64; shift > 0; shift -= 8)
            f8.bytes += static_cast<char>(bits >> (shift - 8) & 0xFFU);
    expect_round_trip(f8);
    Item f4{Format::f4, {}, {}};
    for (const std::uint32_t bits : floats)
        for (unsigned shift = 32; shift > 0; shift -= 8)
            f4.bytes += static_cast<char>(bits >> (shift - 8) & 0xFFU);
    expect_round_trip(f4);
}

TEST(RoundTrip, ListsEmptyLongAndDeep) {
    expect_round_trip(Item::list());
    expect_round_trip(Item::list({Item::list(), Item::list({Item::list()})}));
    expect_round_trip(Item::list(std::vector<Item>(3000, Item::unsigned_integers(Format::u4, {1001}))));
    Item deep = Item::ascii("bottom");
    for (int level = 0; level < 128; ++level) deep = Item::list({deep});
    expect_round_trip(deep);
}

TEST(RoundTrip, Messages) {
    const sml::Message messages[] = {
        {1, 1, true, {}},
        {127, 255, false, {}},
        {1, 3, true, Item::list()},
        {6, 11, true, Item::list(std::vector<Item>(40, Item::ascii("a text of some length")))},
        {10, 1, false, Item::ascii(std::string(500, 'x'))},
    };
    for (const sml::Message& message : messages) EXPECT_EQ(sml::parse_message(sml::to_sml(message)), message);
}

TEST(Writer, Layout) {
    EXPECT_EQ(sml::to_sml(sml::Message{1, 1, true, {}}), "S1F1 W.");
    const Item ids = Item::unsigned_integers(Format::u4, {1001});
    EXPECT_EQ(sml::to_sml(sml::Message{1, 3, true, Item::list({ids, ids})}),
              "S1F3 W <L <U4 1001> <U4 1001>>.");
    EXPECT_EQ(sml::to_sml(Item::ascii("a\"\r\nb")), R"(<A "a" 0x22 0x0D 0x0A "b">)");
    EXPECT_EQ(sml::to_sml(Item{Format::text2, {}, std::string("\0A\x4E\x2D", 4)}), "<W 0x0041 0x4E2D>");
    EXPECT_EQ(sml::to_sml(Item{Format::boolean, {}, std::string("\1\0\2", 3)}), "<BOOLEAN T F 0x02>");
    const std::string filler(90, 'f');
    EXPECT_EQ(sml::to_sml(sml::Message{1, 4, false, Item::list({Item::ascii(filler), Item::list({ids})})}),
              "S1F4\n<L\n    <A \"" + filler + "\">\n    <L <U4 1001>>\n>.");
}

TEST(Writer, OneLineIsCut) {
    EXPECT_EQ(sml::one_line(Item::list({Item::ascii("a")})), "<L <A \"a\">>");
    EXPECT_EQ(sml::one_line(Item::ascii(std::string(1000, 'x')), 10), "<A \"xxxxxx...");
    EXPECT_EQ(sml::one_line(Item::ascii("\xE4\xBD\xA0\xE5\xA5\xBD"), 5),
              "<A \"...");  // never within a character
    EXPECT_EQ(sml::one_line(Item::list(std::vector<Item>(5, Item::list())), 8), "<L <L> <...");
}

}  // namespace
