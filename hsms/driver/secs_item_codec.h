// Between the driver's item tree and the bytes of a message body.
#pragma once

#include <string>
#include <string_view>

#include "fa/secs/secs_item.h"
#include "hsms/core/item_wire.h"

namespace hsms {

/// A body with more items than this is not loaded: at 168 bytes a node, about 700 MB.
inline constexpr std::size_t max_tree_items = std::size_t{4} << 20U;

/// Appends the encoded tree to `out`; nothing for a header-only body (SECS_FORMAT_NONE). False, and `out` as
/// it was, for a tree that cannot be sent: a node without SECS-II format below the root, a null child, an
/// item longer than max_item_length, or lists nested deeper than max_item_depth.
bool encode_secs_item(const Talwen::_SECS_ITEM& root, std::string& out);

/// Decodes a body into the caller's node. Children and long data live in the calling thread's arena until
/// reset_item_arena(). On failure the node is empty (SECS_FORMAT_NONE).
///
/// Numbers: `value` holds, in native order, the elements that fit; a longer array is whole through `data`.
DecodeResult decode_secs_item(std::string_view body, Talwen::_SECS_ITEM& root);

/// Makes the node an empty one.
void clear_secs_item(Talwen::_SECS_ITEM& item);

/// Frees what decode_secs_item() has handed out on this thread. The driver does it after every receive
/// callback.
void reset_item_arena();

}  // namespace hsms
