#include "hsms/core/item_codec.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

#include "fa/secs/secs_driver.h"
#include "hsms/driver/secs_item_codec.h"
#include "tests/support/bytes.h"

namespace hsms {
namespace {

using namespace Talwen;

TEST(ItemCodec, EncodesAndDecodesAsE5Says) {
    using F = Format;
    const std::string long_text(256, 'x');
    std::string list_of_256 = bytes("02 01 00");
    for (int i = 0; i < 256; ++i) list_of_256 += bytes("01 00");
    const std::pair<Item, std::string> vectors[] = {
        {Item::list(), bytes("01 00")},
        {Item::list({Item::list({Item::boolean(true)}), Item::list()}),
         bytes("01 02  01 01 25 01 01  01 00")},
        {Item::binary(bytes("00 7F 80 FF")), bytes("21 04 00 7F 80 FF")},
        {Item::binary(""), bytes("21 00")},
        {Item::boolean(false), bytes("25 01 00")},
        {{F::boolean, {}, bytes("00 FF 02")}, bytes("25 03 00 FF 02")},  // kept as it came
        {Item::ascii("MDLN"), bytes("41 04 'MDLN'")},
        {Item::ascii(""), bytes("41 00")},
        {Item::ascii(bytes("00 FF 0A")), bytes("41 03 00 FF 0A")},
        {{F::jis8, {}, bytes("B1 B2")}, bytes("45 02 B1 B2")},
        {{F::text2, {}, bytes("00 01 4E 2D")}, bytes("49 04 00 01 4E 2D")},
        {Item::integers(F::i8, {-2}), bytes("61 08 FF FF FF FF FF FF FF FE")},
        {Item::integers(F::i1, {-1, 127}), bytes("65 02 FF 7F")},
        {Item::integers(F::i2, {-32768, 258}), bytes("69 04 80 00 01 02")},
        {Item::integers(F::i4, {16909060}), bytes("71 04 01 02 03 04")},
        {Item::reals(F::f8, {1.5}), bytes("81 08 3F F8 00 00 00 00 00 00")},
        {Item::reals(F::f4, {-2.0}), bytes("91 04 C0 00 00 00")},
        {Item::unsigned_integers(F::u8, {~std::uint64_t{0}}), bytes("A1 08 FF FF FF FF FF FF FF FF")},
        {Item::unsigned_integers(F::u1, {0, 255}), bytes("A5 02 00 FF")},
        {Item::unsigned_integers(F::u2, {513}), bytes("A9 02 02 01")},
        {Item::unsigned_integers(F::u4, {100000}), bytes("B1 04 00 01 86 A0")},
        {Item::unsigned_integers(F::u4, {}), bytes("B1 00")},
        {Item::ascii(long_text.substr(1)), bytes("41 FF") + long_text.substr(1)},
        {Item::ascii(long_text), bytes("42 01 00") + long_text},
        {Item::binary(std::string(65536, 'x')), bytes("23 01 00 00") + std::string(65536, 'x')},
        {Item::list(std::vector<Item>(256)), list_of_256},
    };
    for (const auto& [item, wire] : vectors) {
        SCOPED_TRACE(to_hex(wire.substr(0, 20)));
        std::string out = "before";
        EXPECT_TRUE(encode_item(item, out));
        EXPECT_EQ(out, "before" + wire);
        Item decoded;
        const DecodeResult result = decode_item(wire, decoded);
        EXPECT_TRUE(result) << describe(result);
        EXPECT_TRUE(decoded == item);
        _SECS_ITEM root;  // the driver's tree
        EXPECT_TRUE(decode_secs_item(wire, root));
        out.clear();
        EXPECT_TRUE(encode_secs_item(root, out));
        EXPECT_TRUE(out == wire);
        reset_item_arena();
    }
}

TEST(ItemCodec, TakesMoreLengthBytesThanNeeded) {
    Item item;
    EXPECT_TRUE(decode_item(bytes("43 00 00 02 'ab'"), item));
    EXPECT_TRUE(item == Item::ascii("ab"));
    EXPECT_TRUE(decode_item(bytes("02 00 01 02 00 00"), item));
    EXPECT_TRUE(item == Item::list({Item::list()}));
}

TEST(ItemCodec, RefusesMalformedBodies) {
    using enum DecodeError;
    const struct {
        const char* wire;
        DecodeError error;
        std::size_t offset;
    } rows[] = {
        {"", truncated, 0},
        {"41", truncated, 0},
        {"42 00", truncated, 0},
        {"43 00 00", truncated, 0},
        {"41 03 'ab'", truncated, 0},
        {"43 FF FF FF 'ab'", truncated, 0},
        {"01 01", truncated, 0},
        {"01 02 41 00", truncated, 0},
        {"01 02 41 01 'a'", truncated, 0},
        {"01 02 41 01 'a' 41", truncated, 5},
        {"03 FF FF FF 00", truncated, 0},
        {"01 02 01 01 41 00", truncated, 2},  // the inner list takes what the outer one still needs
        {"40 01 'a'", no_length_bytes, 0},
        {"00", no_length_bytes, 0},
        {"01 01 B0 00", no_length_bytes, 2},
        {"05 00", unknown_format, 0},
        {"FF FF FF FF", unknown_format, 0},
        {"01 01 4D 00", unknown_format, 2},
        {"B1 03 00 00 00", partial_element, 0},
        {"A9 01 00", partial_element, 0},
        {"49 03 00 01 4E", partial_element, 0},
        {"81 04 00 00 00 00", partial_element, 0},
        {"41 01 'a' 00", trailing_bytes, 3},
        {"01 00 01 00", trailing_bytes, 2},
    };
    for (const auto& row : rows) {
        Item item = Item::ascii("left over");
        const DecodeResult result = decode_item(bytes(row.wire), item);
        EXPECT_EQ(result.error, row.error) << row.wire << ": " << describe(result);
        EXPECT_EQ(result.offset, row.offset) << row.wire;
        EXPECT_TRUE(item == Item::list()) << row.wire;
        _SECS_ITEM node;
        EXPECT_FALSE(decode_secs_item(bytes(row.wire), node)) << row.wire;
        EXPECT_TRUE(node.format == 255 && node.count == 0) << row.wire;
        reset_item_arena();
    }
}

TEST(ItemCodec, BoundsTheDepth) {
    const auto nested = [](std::size_t lists) {
        std::string wire;
        for (std::size_t i = 1; i < lists; ++i) wire += bytes("01 01");
        return wire + bytes("01 00");
    };
    Item item;
    std::string again;
    EXPECT_TRUE(decode_item(nested(max_item_depth), item));
    EXPECT_TRUE(encode_item(item, again));
    EXPECT_EQ(again, nested(max_item_depth));
    for (const std::size_t lists : {max_item_depth + 1, std::size_t{200000}}) {
        EXPECT_EQ(decode_item(nested(lists), item).error, DecodeError::too_deep);
        _SECS_ITEM node;
        EXPECT_EQ(decode_secs_item(nested(lists), node).error, DecodeError::too_deep);
        reset_item_arena();
    }
}

TEST(ItemCodec, RefusesWhatCannotBeSent) {
    const Item rows[] = {
        Item::binary(std::string(max_item_length + 1, '\0')),
        Item{static_cast<Format>(4), {}, "a"},
        Item::list({Item::ascii("a"), Item{static_cast<Format>(255), {}, ""}}),
    };
    for (const Item& row : rows) {
        std::string out = "kept";
        EXPECT_FALSE(encode_item(row, out));
        EXPECT_EQ(out, "kept");
    }
}

TEST(Item, ReadsElements) {
    const auto decoded = [](const char* wire) {
        Item item;
        EXPECT_TRUE(decode_item(bytes(wire), item)) << wire;
        return item;
    };
    EXPECT_EQ(decoded("65 02 FF 7F").integer(0), -1);
    EXPECT_EQ(decoded("65 02 FF 7F").integer(1), 127);
    EXPECT_EQ(decoded("65 02 FF 7F").integer(2), 0);
    EXPECT_EQ(decoded("21 02 FF 01").integer(0), 255);
    EXPECT_EQ(decoded("69 02 80 00").integer(0), -32768);
    EXPECT_EQ(decoded("A1 08 FF FF FF FF FF FF FF FF").unsigned_integer(0), ~std::uint64_t{0});
    EXPECT_EQ(decoded("91 04 3F C0 00 00").real(0), 1.5);
    EXPECT_TRUE(std::isnan(decoded("81 08 7F F8 00 00 00 00 00 00").real(0)));
}

TEST(SecsItem, BuildersFillTheNode) {
    unsigned char octets[] = {0x00, 0xC8};
    const std::pair<_SECS_ITEM*, const char*> rows[] = {
        {SecsCreateItemAscii("ab"), "41 02 'ab'"},
        {SecsCreateItemAscii(""), "41 00"},
        {SecsCreateItemAscii(nullptr), "41 00"},
        {SecsCreateItemBinary(octets, 2), "21 02 00 C8"},
        {SecsCreateItemBinary(octets, -1), "21 00"},
        {SecsCreateItemI1(-1), "65 01 FF"},
        {SecsCreateItemI2(-2), "69 02 FF FE"},
        {SecsCreateItemI4(-3), "71 04 FF FF FF FD"},
        {SecsCreateItemI8(-4), "61 08 FF FF FF FF FF FF FF FC"},
        {SecsCreateItemU1(200), "A5 01 C8"},
        {SecsCreateItemU2(513), "A9 02 02 01"},
        {SecsCreateItemU4(100000), "B1 04 00 01 86 A0"},
        {SecsCreateItemU8(1), "A1 08 00 00 00 00 00 00 00 01"},
        {SecsCreateItemF4(1.5F), "91 04 3F C0 00 00"},
        {SecsCreateItemF8(1.5), "81 08 3F F8 00 00 00 00 00 00"},
        {SecsCreateItemList(5), "01 00"},
        {SecsCreateItemEmpty(), ""},
    };
    for (const auto& [item, text] : rows) {
        const std::string wire = bytes(text);
        EXPECT_EQ(item->format, wire.empty() ? 255 : static_cast<unsigned char>(wire[0]) & 0xFC) << text;
        EXPECT_EQ(item->length, wire.empty() ? 0 : wire.size() - 2) << text;
        EXPECT_EQ(item->count, 0) << text;
        EXPECT_EQ(std::count(item->value + item->length, std::end(item->value), 0),
                  sizeof item->value - item->length);
        std::string out;
        EXPECT_TRUE(encode_secs_item(*item, out));
        EXPECT_EQ(to_hex(out), to_hex(wire));
        SecsDeleteItem(item);
    }
}

TEST(SecsItem, LongTextIsWholeThroughData) {
    for (const std::size_t length : {5000U, 129U, 128U, 127U}) {
        const std::string text(length, 'q');
        _SECS_ITEM* const built = SecsCreateItemAscii(text.c_str());
        std::string wire;
        ASSERT_TRUE(encode_secs_item(*built, wire));
        _SECS_ITEM loaded;
        SecsInitItem(&loaded);
        ASSERT_EQ(SecsItemLoadBuffer(&loaded, wire.data(), static_cast<int>(wire.size())), 1);
        for (const _SECS_ITEM* item :
             {const_cast<const _SECS_ITEM*>(built), const_cast<const _SECS_ITEM*>(&loaded)}) {
            EXPECT_EQ(item->length, length);
            EXPECT_EQ(std::string(item->data), text);
            EXPECT_EQ(std::string(item->value), text.substr(0, 127));
        }
        SecsDeleteItem(built);
        reset_item_arena();
    }
}

TEST(SecsItem, ListsOwnTheirChildren) {
    _SECS_ITEM* const root = SecsCreateItemList(0);
    for (unsigned i = 0; i < 1000; ++i) ASSERT_TRUE(SecsListItemAppend(root, SecsCreateItemU4(i)));
    EXPECT_EQ(root->count, 1000);
    std::uint32_t last = 0;
    std::memcpy(&last, root->children[999]->value, sizeof last);
    EXPECT_EQ(last, 999U);
    _SECS_ITEM* const leaf = SecsCreateItemU1(1);
    EXPECT_FALSE(SecsListItemAppend(leaf, root));
    EXPECT_FALSE(SecsListItemAppend(nullptr, leaf));
    EXPECT_FALSE(SecsListItemAppend(root, nullptr));
    for (_SECS_ITEM* const item : {leaf, root, static_cast<_SECS_ITEM*>(nullptr)}) SecsDeleteItem(item);

    _SECS_ITEM* deep = SecsCreateItemList(0);
    for (int i = 0; i < 200000; ++i) {
        _SECS_ITEM* const outer = SecsCreateItemList(1);
        SecsListItemAppend(outer, deep);
        deep = outer;
    }
    std::string out;
    EXPECT_FALSE(encode_secs_item(*deep, out));
    EXPECT_TRUE(out.empty());
    SecsDeleteItem(deep);  // without recursion
}

TEST(SecsItem, LoadsNumbersInNativeOrder) {
    std::string wire = bytes("01 03  B1 08 00 00 00 01 00 00 00 02  25 01 01  02 00 00");
    _SECS_ITEM root;
    ASSERT_EQ(SecsItemLoadBuffer(&root, wire.data(), static_cast<int>(wire.size())), 1);
    ASSERT_EQ(root.count, 3);
    const std::uint32_t pair[2] = {1, 2};
    EXPECT_EQ(std::memcmp(pair, root.children[0]->value, sizeof pair), 0);
    EXPECT_EQ(root.children[0]->length, 8U);
    EXPECT_EQ(root.children[1]->value[0], 1);
    EXPECT_EQ(root.children[2]->count, 0);
    EXPECT_EQ(SecsItemLoadBuffer(&root, wire.data(), 0), 0);
    EXPECT_EQ(root.format, 255);
    reset_item_arena();
}

}  // namespace
}  // namespace hsms
