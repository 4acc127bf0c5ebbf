// A SECS-II item as a value (SEMI E5): what the host, the SML reader and the tests build and compare.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hsms/core/format.h"

namespace hsms {

/// One item. Elements are held as on the wire (big-endian, one after the other), so any number of elements of
/// any format, and any bytes at all, go through unchanged. Two items are equal when format, children and
/// bytes are.
struct Item {
    Format format = Format::list;
    std::vector<Item> children;  ///< list only
    std::string bytes;           ///< every format but list: element_count() times the format's width

    static Item list(std::vector<Item> children = {});
    static Item ascii(std::string_view text);
    static Item binary(std::string_view bytes);
    static Item boolean(bool value);
    /// An integer or Boolean item of `format` with these elements, each cut to the format's width.
    static Item integers(Format format, const std::vector<std::int64_t>& values);
    static Item unsigned_integers(Format format, const std::vector<std::uint64_t>& values);
    /// An F4 or F8 item.
    static Item reals(Format format, const std::vector<double>& values);

    /// Number of elements (of children for a list).
    std::size_t element_count() const;
    /// Element `index` of a signed or unsigned integer, Boolean or binary item, sign-extended as its format
    /// says.
    std::int64_t integer(std::size_t index) const;
    std::uint64_t unsigned_integer(std::size_t index) const;
    /// Element `index` of an F4 or F8 item.
    double real(std::size_t index) const;

    bool operator==(const Item&) const = default;
};

}  // namespace hsms
