// What SML describes: a SECS-II message, and a pattern that messages are compared with.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "hsms/core/item.h"

namespace sml {

/// One SECS-II message. Without a body it is header-only, which is not the same as an empty list.
struct Message {
    std::uint8_t stream = 0;    ///< 0 to 127
    std::uint8_t function = 0;  ///< odd: primary, even: secondary
    bool wbit = false;          ///< a reply is asked for
    std::optional<hsms::Item> body;

    bool operator==(const Message&) const = default;
};

/// An item in which parts are left open.
struct Pattern {
    enum class Kind : std::uint8_t {
        any,            ///< `*`: any one item
        any_of_format,  ///< `<U4 *>`: any item of the format of `item`
        exactly,        ///< `item`, which is no list
        list,           ///< a list of `children`
    };
    Kind kind = Kind::any;
    hsms::Item item;
    std::vector<Pattern> children;
    bool open_end = false;  ///< list: `...` after the children, any further items may follow
};

/// A message whose body is a pattern.
struct MessagePattern {
    std::uint8_t stream = 0;
    std::uint8_t function = 0;
    bool wbit = false;            ///< true: the message must have its W-bit set; false: either will do
    std::optional<Pattern> body;  ///< none: the message must be header-only
};

}  // namespace sml
