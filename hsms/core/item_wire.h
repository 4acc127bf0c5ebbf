// The one reader and the one writer of SECS-II items (SEMI E5): every tree type is built and sent through
// them.
//
//   item    = format byte, length bytes (1 to 3, big-endian), body
//             +---------------+---------------+
//             | code (6 bits) | n (2 bits)    |   n = number of length bytes, 0 is not allowed
//             +---------------+---------------+
//   length  = number of children of a list, number of body bytes of every other item
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "hsms/core/format.h"
#include "hsms/core/wire.h"

namespace hsms {

/// Lists nested deeper than this are refused: no equipment needs them, and every walk of a tree may then
/// recurse.
inline constexpr std::size_t max_item_depth = 128;
/// The longest body, and the longest list, that three length bytes can announce.
inline constexpr std::size_t max_item_length = 0xFFFFFF;

enum class DecodeError : std::uint8_t {
    none,
    truncated,        ///< the body ends inside the item at the offset
    unknown_format,   ///< a format byte that E5 does not define
    no_length_bytes,  ///< a length-byte count of zero
    partial_element,  ///< a length that is no multiple of the element width
    too_deep,         ///< lists nested deeper than max_item_depth
    too_many_items,   ///< more items than the reader's tree may hold
    trailing_bytes,   ///< bytes after the item
};

/// What the error is, in words.
std::string_view to_text(DecodeError error);

struct DecodeResult {
    DecodeError error = DecodeError::none;
    std::size_t offset = 0;  ///< of the item that is wrong, or of the first trailing byte

    explicit operator bool() const { return error == DecodeError::none; }
};

namespace detail {

inline constexpr std::uint8_t no_format = 0xFF;

/// Element width by format code (format byte / 4); no_format where the code has none.
inline constexpr auto width_by_code = [] {
    std::array<std::uint8_t, 64> widths{};
    widths.fill(no_format);
    for (const FormatInfo& row : format_table) widths[static_cast<std::uint8_t>(row.format) / 4U] = row.width;
    return widths;
}();

inline bool is_multiple(std::uint32_t length, std::uint8_t width) {
    return (length & (width - 1U)) == 0;  // widths are powers of two
}

}  // namespace detail

/// Walks one encoded item, children included, without recursion and without reading outside `body`. The
/// builder gets, in the order of the wire:
///   bool leaf(Format, std::uint8_t width, const char* data, std::uint32_t length);
///   bool open_list(std::uint32_t count);   // the counts of all open lists are at most half of the bytes
///   left void close_list();                     // once per list, empty ones too
/// leaf and open_list return false when the tree takes no more items.
template <class Builder>
DecodeResult walk_item(std::string_view body, Builder& builder) {
    std::array<std::uint32_t, max_item_depth> open;  // children still to come, by depth
    std::size_t depth = 0;
    std::size_t missing = 1;  // items still to come, of all open lists: each needs two bytes at least
    const char* const begin = body.data();
    const char* const end = begin + body.size();
    const char* at = begin;
    const auto fail = [&](DecodeError error) {
        return DecodeResult{error, static_cast<std::size_t>(at - begin)};
    };
    for (;;) {
        if (at == end) return fail(DecodeError::truncated);
        const auto head = static_cast<std::uint8_t>(*at);
        const std::uint8_t width = detail::width_by_code[head >> 2U];
        if (width == detail::no_format) return fail(DecodeError::unknown_format);
        const std::size_t length_bytes = head & 3U;
        if (length_bytes == 0) return fail(DecodeError::no_length_bytes);
        const auto left = static_cast<std::size_t>(end - at) - 1;
        if (left < length_bytes) return fail(DecodeError::truncated);
        const auto length = static_cast<std::uint32_t>(load_big_endian(at + 1, length_bytes));
        const std::size_t body_left = left - length_bytes;
        const char* const data = at + 1 + length_bytes;

        --missing;
        if (width == 0) {
            if (missing + length > body_left / 2) return fail(DecodeError::truncated);
            missing += length;
            if (depth == max_item_depth) return fail(DecodeError::too_deep);
            if (!builder.open_list(length)) return fail(DecodeError::too_many_items);
            at = data;
            if (length > 0) {
                open[depth++] = length;
                continue;
            }
            builder.close_list();
        } else {
            if (length > body_left) return fail(DecodeError::truncated);
            if (!detail::is_multiple(length, width)) return fail(DecodeError::partial_element);
            if (!builder.leaf(static_cast<Format>(head & 0xFCU), width, data, length))
                return fail(DecodeError::too_many_items);
            at = data + length;
        }
        while (depth > 0 && --open[depth - 1] == 0) {
            --depth;
            builder.close_list();
        }
        if (depth == 0) return at == end ? DecodeResult{} : fail(DecodeError::trailing_bytes);
    }
}

/// Appends items to a string; the string is complete once finish() was called or the writer is gone. Lengths
/// above max_item_length cannot be written: the caller checks.
class ItemWriter {
  public:
    explicit ItemWriter(std::string& out) : out_(out), used_(out.size()) {}
    ~ItemWriter() { finish(); }
    ItemWriter(const ItemWriter&) = delete;
    ItemWriter& operator=(const ItemWriter&) = delete;

    void finish() { out_.resize(used_); }

    /// Format byte and the fewest length bytes that hold `length`.
    void head(std::uint8_t format, std::size_t length) { used_ += put_head(room(4), format, length); }

    /// A whole item of one element whose big-endian bytes are the low `width` bytes of `value`.
    void number(std::uint8_t format, std::uint64_t value, std::size_t width) {
        char* to = room(10);
        to[0] = static_cast<char>(format | 1U);
        to[1] = static_cast<char>(width);
        store_big_endian(to + 2, value, width);
        used_ += 2 + width;
    }

    /// A whole item with these bytes.
    void bytes(std::uint8_t format, const char* data, std::size_t length) {
        if (length > large) {
            head(format, length);
            finish();  // the string's own append copies without clearing first
            out_.append(data, length);
            used_ = out_.size();
            return;
        }
        char* to = room(length + 4);
        const std::size_t head_size = put_head(to, format, length);
        if (length > 0) std::memcpy(to + head_size, data, length);
        used_ += head_size + length;
    }

  private:
    static constexpr std::size_t large = 4096;

    static std::size_t put_head(char* to, std::uint8_t format, std::size_t length) {
        const std::size_t length_bytes = length <= 0xFF ? 1 : length <= 0xFFFF ? 2 : 3;
        to[0] = static_cast<char>(format | length_bytes);
        store_big_endian(to + 1, length, length_bytes);
        return 1 + length_bytes;
    }

    /// Place for `size` bytes at the end of what is written.
    char* room(std::size_t size) {
        if (out_.size() - used_ < size) grow(size);
        return out_.data() + used_;
    }
    void grow(std::size_t size);

    std::string& out_;
    std::size_t used_;
};

}  // namespace hsms
