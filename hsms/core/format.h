// The SECS-II item formats (SEMI E5), one row each: the table that codec, SML and tests share.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace hsms {

/// The format byte of an item header with the two length-count bits zero (format code times four).
enum class Format : std::uint8_t {
    list = 0,
    binary = 32,
    boolean = 36,
    ascii = 64,
    jis8 = 68,
    text2 = 72,  ///< two-byte character text
    i8 = 96,
    i1 = 100,
    i2 = 104,
    i4 = 112,
    f8 = 128,
    f4 = 144,
    u8 = 160,
    u1 = 164,
    u2 = 168,
    u4 = 176,
};

/// What one element of a format is.
enum class ElementKind : std::uint8_t { list, byte, boolean, text, signed_integer, unsigned_integer, real };

struct FormatInfo {
    Format format;
    std::string_view tag;  ///< SML tag: L, B, BOOLEAN, A, J, W, I1 ...
    std::uint8_t width;    ///< bytes of one element on the wire; 0 for a list
    ElementKind kind;
};

inline constexpr std::array<FormatInfo, 16> format_table{{
    {Format::list, "L", 0, ElementKind::list},
    {Format::binary, "B", 1, ElementKind::byte},
    {Format::boolean, "BOOLEAN", 1, ElementKind::boolean},
    {Format::ascii, "A", 1, ElementKind::text},
    {Format::jis8, "J", 1, ElementKind::text},
    {Format::text2, "W", 2, ElementKind::text},
    {Format::i8, "I8", 8, ElementKind::signed_integer},
    {Format::i1, "I1", 1, ElementKind::signed_integer},
    {Format::i2, "I2", 2, ElementKind::signed_integer},
    {Format::i4, "I4", 4, ElementKind::signed_integer},
    {Format::f8, "F8", 8, ElementKind::real},
    {Format::f4, "F4", 4, ElementKind::real},
    {Format::u8, "U8", 8, ElementKind::unsigned_integer},
    {Format::u1, "U1", 1, ElementKind::unsigned_integer},
    {Format::u2, "U2", 2, ElementKind::unsigned_integer},
    {Format::u4, "U4", 4, ElementKind::unsigned_integer},
}};

/// The row of a format byte (length-count bits ignored), or null when it is no SECS-II format.
constexpr const FormatInfo* find_format(std::uint8_t format_byte) {
    for (const FormatInfo& row : format_table)
        if (static_cast<std::uint8_t>(row.format) == (format_byte & 0xFCU)) return &row;
    return nullptr;
}

}  // namespace hsms
