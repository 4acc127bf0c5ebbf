#include "hsms/core/item_codec.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

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
        {{F::boolean, {}, bytes("00 FF 02")}, bytes("25 03 00 FF 02")},  // kept as it came
        {Item::ascii("MDLN"), bytes("41 04 'MDLN'")},
        {Item::ascii(""), bytes("41 00")},
        {{F::jis8, {}, bytes("B1 B2")}, bytes("45 02 B1 B2")},
        {{F::text2, {}, bytes("00 01 4E 2D")}, bytes("49 04 00 01 4E 2D")},
        {Item::integers(F::i8, {-2}), bytes("61 08 FF FF FF FF FF FF FF FE")},
        {Item::integers(F::i1, {-1, 127}), bytes("65 02 FF 7F")},
        {Item::integers(F::i2, {-32768, 258}), bytes("69 04 80 00 01 02")},
        {Item::integers(F::i4, {16909060}), bytes("71 04 01 02 03 04")},
        {Item::reals(F::f8, {1.5}), bytes("81 08 3F F8 00 00 00 00 00 00")},
        {Item::reals(F::f4, {-2.0}), bytes("91 04 C0 00 00 00")},
        {Item::reals(F::f8, {std::nan("")}), bytes("81 08 7F F8 00 00 00 00 00 00")},
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
    Item item;  // more length bytes than needed
    EXPECT_TRUE(decode_item(bytes("02 00 01 43 00 00 02 'ab'"), item));
    EXPECT_TRUE(item == Item::list({Item::ascii("ab")}));
}

TEST(ItemCodec, ReadsTheElementsOfEveryFormat) {
    for (const FormatInfo& row : format_table) {
        const bool real = row.kind == ElementKind::real, negative = row.kind == ElementKind::signed_integer;
        const Item item = real ? Item::reals(row.format, {0, -1.5})
                               : Item::integers(row.format, {0, negative ? -100 : 100});
        if (row.kind == ElementKind::list || row.kind == ElementKind::text) continue;
        EXPECT_TRUE(real ? item.real(1) == -1.5 : item.integer(1) == (negative ? -100 : 100)) << row.tag;
        EXPECT_EQ(item.unsigned_integer(2), 0U);
    }
    EXPECT_EQ(Item::unsigned_integers(Format::u8, {~std::uint64_t{0}}).unsigned_integer(0),
              ~std::uint64_t{0});
}

TEST(ItemCodec, RefusesMalformedBodies) {
    using enum DecodeError;
    const struct {
        DecodeError error;
        std::size_t offset;
        std::vector<const char*> bodies;
    } rows[] = {
        {truncated, 0, {"", "41", "42 00", "43 00 00", "41 03 'ab'", "43 FF FF FF 'ab'", "03 FF FF FF 00"}},
        {truncated, 0, {"01 01", "01 02 41 00", "01 02 41 01 'a'"}},
        {truncated, 5, {"01 02 41 01 'a' 41"}},
        {truncated, 2, {"01 02 01 01 41 00"}},  // the inner list takes what the outer one still needs
        {no_length_bytes, 0, {"40 01 'a'", "00"}},
        {no_length_bytes, 2, {"01 01 B0 00"}},
        {unknown_format, 0, {"05 00", "FF FF FF FF"}},
        {unknown_format, 2, {"01 01 4D 00"}},
        {partial_element, 0, {"B1 03 00 00 00", "A9 01 00", "49 03 00 01 4E", "81 04 00 00 00 00"}},
        {trailing_bytes, 3, {"41 01 'a' 00"}},
        {trailing_bytes, 2, {"01 00 01 00"}},
    };
    for (const auto& row : rows) {
        for (const char* const body : row.bodies) {
            SCOPED_TRACE(body);
            Item item = Item::ascii("left over");
            const DecodeResult result = decode_item(bytes(body), item);
            EXPECT_TRUE(result.error == row.error && result.offset == row.offset) << describe(result);
            EXPECT_TRUE(item == Item::list());
            _SECS_ITEM node;
            EXPECT_FALSE(decode_secs_item(bytes(body), node));
            EXPECT_TRUE(node.format == 255 && node.count == 0 && node.data == node.value);
            reset_item_arena();
        }
    }
}

TEST(ItemCodec, BoundsTheDepthAndTheItemsOfATree) {
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
    std::string wide = bytes("03 40 00 00");
    while (wide.size() < 2 * max_tree_items) wide += "\x01" + std::string(1, '\0');
    _SECS_ITEM node;
    EXPECT_EQ(decode_secs_item(wide + wide.substr(4, 4), node).error, DecodeError::too_many_items);
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
    _SECS_ITEM* const node = SecsCreateItemU4(1);
    node->length = 6;
    std::string out;
    EXPECT_FALSE(encode_secs_item(*node, out));
    SecsDeleteItem(node);
}

TEST(SecsItem, BuildersAndLoaderFillTheSameNodes) {
    unsigned char octets[] = {0x00, 0xC8};
    _SECS_ITEM* const root = SecsCreateItemList(5);
    for (_SECS_ITEM* const item :
         {SecsCreateItemAscii("ab"), SecsCreateItemAscii(""), SecsCreateItemAscii(nullptr),
          SecsCreateItemList(0), SecsCreateItemBinary(octets, 2), SecsCreateItemBinary(octets, -1),
          SecsCreateItemI1(-1), SecsCreateItemI2(-2), SecsCreateItemI4(-3), SecsCreateItemI8(-4),
          SecsCreateItemU1(200), SecsCreateItemU2(513), SecsCreateItemU4(100000), SecsCreateItemU8(1),
          SecsCreateItemF4(1.5F), SecsCreateItemF8(1.5)})
        EXPECT_TRUE(SecsListItemAppend(root, item));
    std::string wire;
    EXPECT_TRUE(encode_secs_item(*root, wire));
    EXPECT_EQ(to_hex(wire),
              to_hex(bytes("01 10 41 02 'ab' 41 00 41 00 01 00 21 02 00 C8 21 00 65 01 FF 69 02 FF FE"
                           "71 04 FF FF FF FD 61 08 FF FF FF FF FF FF FF FC A5 01 C8 A9 02 02 01"
                           "B1 04 00 01 86 A0 A1 08 00 00 00 00 00 00 00 01 91 04 3F C0 00 00"
                           "81 08 3F F8 00 00 00 00 00 00")));
    _SECS_ITEM loaded;
    ASSERT_EQ(SecsItemLoadBuffer(&loaded, wire.data(), static_cast<int>(wire.size())), 1);
    ASSERT_EQ(loaded.count, root->count);
    for (int i = 0; i < root->count; ++i) {
        const _SECS_ITEM& built = *root->children[i];
        const _SECS_ITEM& read = *loaded.children[i];
        EXPECT_TRUE(built.format == read.format && built.length == read.length) << i;
        EXPECT_TRUE(built.count == 0 && read.count == 0) << i;
        EXPECT_EQ(std::count(built.value + built.length, std::end(built.value), 0), 128 - built.length) << i;
        EXPECT_EQ(std::memcmp(built.value, read.value, sizeof built.value), 0) << i;
    }
    SecsDeleteItem(root);
    EXPECT_EQ(SecsItemLoadBuffer(&loaded, wire.data(), 0), 0);
    EXPECT_EQ(loaded.format, 255);
    _SECS_ITEM* const empty = SecsCreateItemEmpty();
    wire.clear();
    EXPECT_TRUE(encode_secs_item(*empty, wire) && wire.empty() && empty->format == 255);
    SecsDeleteItem(empty);
    wire = bytes("B1 08 00 00 00 01 00 00 00 02");
    const std::uint32_t pair[2] = {1, 2};
    EXPECT_EQ(SecsItemLoadBuffer(&loaded, wire.data(), static_cast<int>(wire.size())), 1);
    EXPECT_TRUE(loaded.length == 8 && std::memcmp(pair, loaded.value, sizeof pair) == 0);
    reset_item_arena();
}

TEST(SecsItem, LongTextIsWholeThroughData) {
    for (const std::size_t length : {5000U, 129U, 128U, 127U}) {
        const std::string text(length, 'q');
        _SECS_ITEM* const built = SecsCreateItemAscii(text.c_str());
        std::string wire;
        ASSERT_TRUE(encode_secs_item(*built, wire));
        _SECS_ITEM loaded;
        ASSERT_EQ(SecsItemLoadBuffer(&loaded, wire.data(), static_cast<int>(wire.size())), 1);
        for (const _SECS_ITEM* item :
             {static_cast<const _SECS_ITEM*>(built), static_cast<const _SECS_ITEM*>(&loaded)})
            EXPECT_TRUE(item->length == length && item->data == text && item->value == text.substr(0, 127));
        SecsDeleteItem(built);
        reset_item_arena();
    }
}

TEST(SecsItem, ListsOwnTheirChildren) {
    _SECS_ITEM* const root = SecsCreateItemList(0);
    for (unsigned i = 0; i < 1000; ++i) ASSERT_TRUE(SecsListItemAppend(root, SecsCreateItemU4(i)));
    EXPECT_EQ(root->count, 1000);
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

}  // namespace
}  // namespace hsms
