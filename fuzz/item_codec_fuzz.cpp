// The item codec: any bytes as a message body, into both trees. What one accepts the other accepts, with the
// same meaning, and it survives being encoded again.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "hsms/core/item_codec.h"
#include "hsms/driver/secs_item_codec.h"

namespace {

using Talwen::_SECS_ITEM;

bool is_text_or_bytes(unsigned char format) {
    return format == Talwen::SECS_FORMAT_A || format == Talwen::SECS_FORMAT_B ||
           format == Talwen::SECS_FORMAT_J || format == Talwen::SECS_FORMAT_C2;
}

/// What the driver interface promises of a node, and what handlers rely on: they read the first element from
/// the value area of any item.
void check_node(const _SECS_ITEM& node, const hsms::Item& item) {
    require(node.format == static_cast<unsigned char>(item.format), "both trees have the same format");
    if (node.format == Talwen::SECS_FORMAT_L) {
        require(static_cast<std::size_t>(node.count) == item.children.size(), "both have the same children");
        for (std::size_t i = 0; i < item.children.size(); ++i)
            check_node(*node.children[i], item.children[i]);
        return;
    }
    require(node.count == 0, "an item that is no list has no children");
    require(node.length == item.bytes.size(), "both have the same length");
    if (is_text_or_bytes(node.format)) {
        require(std::memcmp(node.data, item.bytes.data(), node.length) == 0, "the data is whole");
        require(node.data[node.length] == '\0', "a NUL comes after the data");
        const std::size_t in_value = std::min<std::size_t>(node.length, sizeof node.value - 1);
        require(std::memcmp(node.value, item.bytes.data(), in_value) == 0, "the value area holds its start");
        if (node.format != Talwen::SECS_FORMAT_B)
            require(node.value[in_value] == '\0', "text in the value area ends in NUL");
        return;
    }
    const std::size_t in_value = std::min<std::size_t>(node.length, sizeof node.value);
    require(std::memcmp(node.data, node.value, in_value) == 0, "the value area holds the first elements");
    require(std::all_of(node.value + in_value, node.value + sizeof node.value, [](char c) { return c == 0; }),
            "the value area is zero after the data");
}

void check_accepted(const hsms::Item& item, const _SECS_ITEM& tree) {
    check_node(tree, item);
    std::string from_item;
    std::string from_tree;
    require(hsms::encode_item(item, from_item), "what was decoded can be encoded");
    require(hsms::encode_secs_item(tree, from_tree),
            "what was decoded can be encoded from the driver's tree");
    require(from_item == from_tree, "both trees are encoded alike");
    hsms::Item again;
    require(static_cast<bool>(hsms::decode_item(from_item, again)), "what was encoded can be decoded");
    require(again == item, "it is the same item again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view body(reinterpret_cast<const char*>(data), size);
    hsms::Item item;
    _SECS_ITEM tree;
    const hsms::DecodeResult result = hsms::decode_item(body, item);
    const hsms::DecodeResult tree_result = hsms::decode_secs_item(body, tree);
    require(result.error == tree_result.error && result.offset == tree_result.offset,
            "both decoders give the same verdict");
    require(result.offset <= size, "the error is inside the body");
    if (result) {
        check_accepted(item, tree);
    } else {
        require(tree.format == Talwen::SECS_FORMAT_NONE && tree.count == 0, "a failed load leaves nothing");
    }
    hsms::reset_item_arena();
    return 0;
}
