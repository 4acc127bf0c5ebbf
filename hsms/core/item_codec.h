// Between hsms::Item and the bytes of a message body.
#pragma once

#include <string>
#include <string_view>

#include "hsms/core/item.h"
#include "hsms/core/item_wire.h"

namespace hsms {

/// Decodes a body that is exactly one item. On failure the result says what is wrong and where, and `out` is
/// an empty list. An empty body (a header-only message) is `truncated`: callers look for it first.
DecodeResult decode_item(std::string_view body, Item& out);

/// Appends the encoded item to `out`, with as few length bytes as possible. False, and `out` as it was, when
/// an item is longer than max_item_length, is nested deeper than max_item_depth or has a format that E5 does
/// not define.
bool encode_item(const Item& item, std::string& out);

/// "<what> at offset <n>"
std::string describe(const DecodeResult& result);

}  // namespace hsms
