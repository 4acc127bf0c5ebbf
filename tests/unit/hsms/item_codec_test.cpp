#include "hsms/core/item_codec.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

#include "bytes.h"
#include "fa/secs/secs_driver.h"
#include "hsms/driver/secs_item_codec.h"

namespace hsms {
namespace {

using Talwen::_SECS_ITEM;

struct Vector {
    const char* name;
    Item item;
    std::string wire;
};

std::vector<Vector> vectors() {
    using F = Format;
    const std::string long_text(256, 'x');
    return {
        {"empty list", Item::list(), bytes("01 00")},
        {"nested lists", Item::list({Item::list({Item::boolean(true)}), Item::list()}),
         bytes("01 02  01 01 25 01 01  01 00")},
        {"binary", Item::binary(bytes("00 7F 80 FF")), bytes("21 04 00 7F 80 FF")},
        {"empty binary", Item::binary(""), bytes("21 00")},
        {"boolean", Item::boolean(false), bytes("25 01 00")},
        {"boolean kept as it came", {F::boolean, {}, bytes("00 FF 02")}, bytes("25 03 00 FF 02")},
        {"ascii", Item::ascii("MDLN"), bytes("41 04 'MDLN'")},
        {"empty ascii", Item::ascii(""), bytes("41 00")},
        {"ascii with any bytes", Item::ascii(bytes("00 FF 0A")), bytes("41 03 00 FF 0A")},
        {"jis8", {F::jis8, {}, bytes("B1 B2")}, bytes("45 02 B1 B2")},
        {"two-byte text", {F::text2, {}, bytes("00 01 4E 2D")}, bytes("49 04 00 01 4E 2D")},
        {"i8", Item::integers(F::i8, {-2}), bytes("61 08 FF FF FF FF FF FF FF FE")},
        {"i1", Item::integers(F::i1, {-1, 127}), bytes("65 02 FF 7F")},
        {"i2", Item::integers(F::i2, {-32768, 258}), bytes("69 04 80 00 01 02")},
        {"i4", Item::integers(F::i4, {16909060}), bytes("71 04 01 02 03 04")},
        {"f8", Item::reals(F::f8, {1.5}), bytes("81 08 3F F8 00 00 00 00 00 00")},
        {"f4", Item::reals(F::f4, {-2.0}), bytes("91 04 C0 00 00 00")},
        {"u8", Item::unsigned_integers(F::u8, {std::numeric_limits<std::uint64_t>::max()}),
         bytes("A1 08 FF FF FF FF FF FF FF FF")},
        {"u1", Item::unsigned_integers(F::u1, {0, 255}), bytes("A5 02 00 FF")},
        {"u2", Item::unsigned_integers(F::u2, {513}), bytes("A9 02 02 01")},
        {"u4", Item::unsigned_integers(F::u4, {100000}), bytes("B1 04 00 01 86 A0")},
        {"no elements", Item::unsigned_integers(F::u4, {}), bytes("B1 00")},
        {"255 bytes, one length byte", Item::ascii(long_text.substr(1)),
         bytes("41 FF") + long_text.substr(1)},
        {"256 bytes, two length bytes", Item::ascii(long_text), bytes("42 01 00") + long_text},
        {"65536 bytes, three length bytes", Item::binary(std::string(65536, '\x55')),
         bytes("23 01 00 00") + std::string(65536, '\x55')},
        {"list of 256", Item::list(std::vector<Item>(256)),
         [] {
             std::string wire = bytes("02 01 00");
             for (int i = 0; i < 256; ++i) wire += bytes("01 00");
             return wire;
         }()},
    };
}

TEST(ItemCodec, EncodesAsE5Says) {
    for (const Vector& row : vectors()) {
        std::string out = "before";
        EXPECT_TRUE(encode_item(row.item, out)) << row.name;
        EXPECT_EQ(out, "before" + row.wire) << row.name;
    }
}

TEST(ItemCodec, DecodesAsE5Says) {
    for (const Vector& row : vectors()) {
        Item item;
        const DecodeResult result = decode_item(row.wire, item);
        EXPECT_TRUE(result) << row.name << ": " << describe(result);
        EXPECT_TRUE(item == row.item) << row.name;
    }
}

TEST(ItemCodec, TreeGoesThroughUnchanged) {
    for (const Vector& row : vectors()) {
        _SECS_ITEM root;
        EXPECT_TRUE(decode_secs_item(row.wire, root)) << row.name;
        std::string out;
        EXPECT_TRUE(encode_secs_item(root, out)) << row.name;
        EXPECT_EQ(to_hex(out), to_hex(row.wire)) << row.name;
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

struct Malformed {
    const char* wire;
    DecodeError error;
    std::size_t offset;
};

TEST(ItemCodec, RefusesMalformedBodies) {
    const Malformed rows[] = {
        {"", DecodeError::truncated, 0},
        {"41", DecodeError::truncated, 0},
        {"42 00", DecodeError::truncated, 0},
        {"43 00 00", DecodeError::truncated, 0},
        {"41 03 'ab'", DecodeError::truncated, 0},
        {"41 FF 'ab'", DecodeError::truncated, 0},
        {"43 FF FF FF 'ab'", DecodeError::truncated, 0},
        {"01 01", DecodeError::truncated, 0},
        {"01 02 41 00", DecodeError::truncated, 0},
        {"01 02 41 01 'a'", DecodeError::truncated, 0},
        {"01 02 41 01 'a' 41", DecodeError::truncated, 5},
        {"03 FF FF FF 00", DecodeError::truncated, 0},
        {"01 02 01 02 41 00", DecodeError::truncated, 2},
        {"40 01 'a'", DecodeError::no_length_bytes, 0},
        {"00", DecodeError::no_length_bytes, 0},
        {"01 01 B0 00", DecodeError::no_length_bytes, 2},
        {"05 00", DecodeError::unknown_format, 0},
        {"FF FF FF FF", DecodeError::unknown_format, 0},
        {"01 01 4D 00", DecodeError::unknown_format, 2},
        {"B1 03 00 00 00", DecodeError::partial_element, 0},
        {"A9 01 00", DecodeError::partial_element, 0},
        {"49 03 00 01 4E", DecodeError::partial_element, 0},
        {"81 04 00 00 00 00", DecodeError::partial_element, 0},
        {"41 01 'a' 00", DecodeError::trailing_bytes, 3},
        {"01 00 01 00", DecodeError::trailing_bytes, 2},
    };
    for (const Malformed& row : rows) {
        Item item = Item::ascii("left over");
        const DecodeResult result = decode_item(bytes(row.wire), item);
        EXPECT_EQ(result.error, row.error) << row.wire << ": " << describe(result);
        EXPECT_EQ(result.offset, row.offset) << row.wire;
        EXPECT_TRUE(item == Item::list()) << row.wire;

        _SECS_ITEM node;
        EXPECT_FALSE(decode_secs_item(bytes(row.wire), node)) << row.wire;
        EXPECT_EQ(node.format, 255) << row.wire;
        EXPECT_EQ(node.count, 0) << row.wire;
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
    EXPECT_TRUE(decode_item(nested(max_item_depth), item));
    std::string again;
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
        Item::list({Item{static_cast<Format>(255), {}, ""}}),
    };
    for (const Item& row : rows) {
        std::string out = "kept";
        EXPECT_FALSE(encode_item(row, out));
        EXPECT_EQ(out, "kept");
    }
}

TEST(Item, ReadsElements) {
    Item item;
    ASSERT_TRUE(decode_item(bytes("65 02 FF 7F"), item));
    EXPECT_EQ(item.integer(0), -1);
    EXPECT_EQ(item.integer(1), 127);
    EXPECT_EQ(item.integer(2), 0);
    ASSERT_TRUE(decode_item(bytes("21 02 FF 01"), item));
    EXPECT_EQ(item.integer(0), 255);
    ASSERT_TRUE(decode_item(bytes("69 02 80 00"), item));
    EXPECT_EQ(item.integer(0), -32768);
    ASSERT_TRUE(decode_item(bytes("A1 08 FF FF FF FF FF FF FF FF"), item));
    EXPECT_EQ(item.unsigned_integer(0), std::numeric_limits<std::uint64_t>::max());
    ASSERT_TRUE(decode_item(bytes("91 04 3F C0 00 00"), item));
    EXPECT_EQ(item.real(0), 1.5);
    ASSERT_TRUE(decode_item(bytes("81 08 7F F8 00 00 00 00 00 00"), item));
    EXPECT_TRUE(std::isnan(item.real(0)));
}

TEST(SecsItem, BuildersFillTheNode) {
    struct Row {
        _SECS_ITEM* item;
        int format;
        std::uint32_t length;
        const char* wire;
    };
    unsigned char octets[] = {0x00, 0xC8};
    const Row rows[] = {
        {Talwen::SecsCreateItemAscii("ab"), 64, 2, "41 02 'ab'"},
        {Talwen::SecsCreateItemAscii(""), 64, 0, "41 00"},
        {Talwen::SecsCreateItemAscii(nullptr), 64, 0, "41 00"},
        {Talwen::SecsCreateItemBinary(octets, 2), 32, 2, "21 02 00 C8"},
        {Talwen::SecsCreateItemBinary(octets, -1), 32, 0, "21 00"},
        {Talwen::SecsCreateItemI1(-1), 100, 1, "65 01 FF"},
        {Talwen::SecsCreateItemI2(-2), 104, 2, "69 02 FF FE"},
        {Talwen::SecsCreateItemI4(-3), 112, 4, "71 04 FF FF FF FD"},
        {Talwen::SecsCreateItemI8(-4), 96, 8, "61 08 FF FF FF FF FF FF FF FC"},
        {Talwen::SecsCreateItemU1(200), 164, 1, "A5 01 C8"},
        {Talwen::SecsCreateItemU2(513), 168, 2, "A9 02 02 01"},
        {Talwen::SecsCreateItemU4(100000), 176, 4, "B1 04 00 01 86 A0"},
        {Talwen::SecsCreateItemU8(1), 160, 8, "A1 08 00 00 00 00 00 00 00 01"},
        {Talwen::SecsCreateItemF4(1.5F), 144, 4, "91 04 3F C0 00 00"},
        {Talwen::SecsCreateItemF8(1.5), 128, 8, "81 08 3F F8 00 00 00 00 00 00"},
        {Talwen::SecsCreateItemList(5), 0, 0, "01 00"},
        {Talwen::SecsCreateItemEmpty(), 255, 0, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.item->format, row.format) << row.wire;
        EXPECT_EQ(row.item->length, row.length) << row.wire;
        EXPECT_EQ(row.item->count, 0) << row.wire;
        for (std::size_t i = row.length; i < sizeof row.item->value; ++i)
            ASSERT_EQ(row.item->value[i], 0) << row.wire;
        std::string out;
        EXPECT_TRUE(encode_secs_item(*row.item, out));
        EXPECT_EQ(to_hex(out), to_hex(bytes(row.wire)));
        Talwen::SecsDeleteItem(row.item);
    }
}

TEST(SecsItem, LongTextIsWholeThroughData) {
    for (const std::size_t length : {127U, 128U, 129U, 5000U}) {
        const std::string text(length, 'q');
        _SECS_ITEM* const built = Talwen::SecsCreateItemAscii(text.c_str());
        std::string wire;
        ASSERT_TRUE(encode_secs_item(*built, wire));
        _SECS_ITEM loaded;
        Talwen::SecsInitItem(&loaded);
        ASSERT_EQ(Talwen::SecsItemLoadBuffer(&loaded, wire.data(), static_cast<int>(wire.size())), 1);
        for (const _SECS_ITEM* item :
             {static_cast<const _SECS_ITEM*>(built), static_cast<const _SECS_ITEM*>(&loaded)}) {
            EXPECT_EQ(item->length, length);
            EXPECT_EQ(std::string(item->data), text);
            EXPECT_EQ(std::string(item->value), text.substr(0, 127));
        }
        Talwen::SecsDeleteItem(built);
        reset_item_arena();
    }
}

TEST(SecsItem, ListsOwnTheirChildren) {
    _SECS_ITEM* const root = Talwen::SecsCreateItemList(0);
    for (unsigned i = 0; i < 1000; ++i)
        ASSERT_TRUE(Talwen::SecsListItemAppend(root, Talwen::SecsCreateItemU4(i)));
    EXPECT_EQ(root->count, 1000);
    std::uint32_t last = 0;
    std::memcpy(&last, root->children[999]->value, sizeof last);
    EXPECT_EQ(last, 999U);
    _SECS_ITEM* const leaf = Talwen::SecsCreateItemU1(1);
    EXPECT_FALSE(Talwen::SecsListItemAppend(leaf, root));
    EXPECT_FALSE(Talwen::SecsListItemAppend(nullptr, leaf));
    EXPECT_FALSE(Talwen::SecsListItemAppend(root, nullptr));
    Talwen::SecsDeleteItem(leaf);
    Talwen::SecsDeleteItem(root);
    Talwen::SecsDeleteItem(nullptr);
}

TEST(SecsItem, DeepTreesAreFreedAndNotSent) {
    _SECS_ITEM* root = Talwen::SecsCreateItemList(0);
    for (int i = 0; i < 200000; ++i) {
        _SECS_ITEM* const outer = Talwen::SecsCreateItemList(1);
        Talwen::SecsListItemAppend(outer, root);
        root = outer;
    }
    std::string out;
    EXPECT_FALSE(encode_secs_item(*root, out));
    EXPECT_TRUE(out.empty());
    Talwen::SecsDeleteItem(root);
}

TEST(SecsItem, LoadsNumbersInNativeOrder) {
    std::string wire = bytes("01 03  B1 08 00 00 00 01 00 00 00 02  25 01 01  02 00 00");
    _SECS_ITEM root;
    ASSERT_EQ(Talwen::SecsItemLoadBuffer(&root, wire.data(), static_cast<int>(wire.size())), 1);
    ASSERT_EQ(root.count, 3);
    std::uint32_t pair[2];
    std::memcpy(pair, root.children[0]->value, sizeof pair);
    EXPECT_EQ(pair[0], 1U);
    EXPECT_EQ(pair[1], 2U);
    EXPECT_EQ(root.children[0]->length, 8U);
    EXPECT_EQ(root.children[1]->value[0], 1);
    EXPECT_EQ(root.children[2]->count, 0);
    EXPECT_EQ(Talwen::SecsItemLoadBuffer(&root, wire.data(), 0), 0);
    EXPECT_EQ(root.format, 255);
    reset_item_arena();
}

}  // namespace
}  // namespace hsms
