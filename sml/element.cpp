#include "sml/element.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace sml {
namespace {

using hsms::ElementKind;
using hsms::FormatInfo;

// The integers that the words of a format may mean.
struct Range {
    std::int64_t lowest;
    std::uint64_t highest;
};

Range range_of(const FormatInfo& format) {
    const unsigned bits = 8U * format.width;
    const std::uint64_t all = ~std::uint64_t{0} >> (64U - bits);
    // Bytes may be written signed too: the equipment's log prints 200 as -56.
    if (format.kind == ElementKind::byte) return {-128, all};
    if (format.kind != ElementKind::signed_integer) return {0, all};
    return {-static_cast<std::int64_t>(all / 2) - 1, all / 2};
}

bool equals_no_case(std::string_view word, std::string_view upper) {
    return std::equal(word.begin(), word.end(), upper.begin(), upper.end(),
                      [](char a, char b) { return (a >= 'a' && a <= 'z' ? a - 'a' + 'A' : a) == b; });
}

std::optional<std::uint64_t> parse_magnitude(std::string_view word) {
    int base = 10;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        base = 16;
        word.remove_prefix(2);
    }
    std::uint64_t value = 0;
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value, base);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

// The two's complement bits of an integer in range.
std::optional<std::uint64_t> parse_integer(std::string_view word, Range range) {
    const bool negative = word.starts_with('-');
    if (negative || word.starts_with('+')) word.remove_prefix(1);
    const std::optional<std::uint64_t> magnitude = parse_magnitude(word);
    if (!magnitude) return std::nullopt;
    const std::uint64_t bound =
        negative ? std::uint64_t{0} - static_cast<std::uint64_t>(range.lowest) : range.highest;
    if (*magnitude > bound) return std::nullopt;
    return negative ? std::uint64_t{0} - *magnitude : *magnitude;
}

std::optional<std::uint64_t> parse_boolean(std::string_view word) {
    if (equals_no_case(word, "T") || equals_no_case(word, "TRUE")) return 1;
    if (equals_no_case(word, "F") || equals_no_case(word, "FALSE")) return 0;
    return parse_integer(word, {0, 255});
}

template <class Real, class Bits>
struct RealCode {
    // Bits of the quiet NaN without payload: the exponent and the first bit of the fraction.
    static constexpr Bits quiet_nan = std::bit_cast<Bits>(std::numeric_limits<Real>::quiet_NaN());
    static constexpr Bits sign = Bits{1} << (8 * sizeof(Bits) - 1);

    static std::optional<std::uint64_t> parse(std::string_view word) {
        if (word.starts_with("nan:")) {
            const std::optional<std::uint64_t> bits = parse_magnitude(word.substr(4));
            const bool is_nan =
                bits && *bits <= Bits(~Bits{0}) && std::isnan(std::bit_cast<Real>(static_cast<Bits>(*bits)));
            return is_nan ? bits : std::nullopt;
        }
        const bool negative = word.starts_with('-');
        if (negative || word.starts_with('+')) word.remove_prefix(1);
        if (word.starts_with('-')) return std::nullopt;  // from_chars would take a second sign
        const std::optional<Bits> bits = parse_unsigned(word);
        if (!bits) return std::nullopt;
        return negative ? *bits | sign : *bits;
    }

    static std::string text(Bits bits) {
        const Real value = std::bit_cast<Real>(bits);
        std::array<char, 32> buffer{};
        char* const end = buffer.data() + buffer.size();
        if (!std::isnan(value)) return {buffer.data(), std::to_chars(buffer.data(), end, value).ptr};
        if ((bits & ~sign) == quiet_nan) return (bits & sign) != 0 ? "-nan" : "nan";
        return "nan:0x" + std::string(buffer.data(), std::to_chars(buffer.data(), end, bits, 16).ptr);
    }

  private:
    static std::optional<Bits> parse_unsigned(std::string_view word) {
        if (equals_no_case(word, "NAN")) return quiet_nan;
        Real value = 0;
        const char* end = word.data() + word.size();
        const auto [stop, error] = std::from_chars(word.data(), end, value);
        if (error != std::errc{} || stop != end || std::isnan(value)) return std::nullopt;
        return std::bit_cast<Bits>(value);
    }
};

using Float = RealCode<float, std::uint32_t>;
using Double = RealCode<double, std::uint64_t>;

std::optional<std::uint64_t> parse_element(const FormatInfo& format, std::string_view word) {
    if (format.kind == ElementKind::boolean) return parse_boolean(word);
    if (format.kind == ElementKind::real) return format.width == 4 ? Float::parse(word) : Double::parse(word);
    return parse_integer(word, range_of(format));
}

std::string hexadecimal(std::uint64_t value, unsigned width) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text = "0x";
    for (unsigned shift = 8 * width; shift > 0; shift -= 4) text += digits[(value >> (shift - 4)) & 0xFU];
    return text;
}

}  // namespace

bool append_element(const FormatInfo& format, std::string_view word, std::string& bytes) {
    const std::optional<std::uint64_t> bits = parse_element(format, word);
    if (!bits) return false;
    for (unsigned shift = 8U * format.width; shift > 0; shift -= 8)
        bytes += static_cast<char>((*bits >> (shift - 8)) & 0xFFU);
    return true;
}

std::string element_text(const FormatInfo& format, std::string_view element) {
    std::uint64_t bits = 0;
    for (const char byte : element) bits = bits << 8U | static_cast<unsigned char>(byte);
    const unsigned spare = 64U - 8U * format.width;
    switch (format.kind) {
        case ElementKind::boolean:
            if (bits <= 1) return bits == 1 ? "T" : "F";
            return hexadecimal(bits, 1);
        case ElementKind::signed_integer:
            return std::to_string(static_cast<std::int64_t>(bits << spare) >> spare);
        case ElementKind::unsigned_integer: return std::to_string(bits);
        case ElementKind::real:
            return format.width == 4 ? Float::text(static_cast<std::uint32_t>(bits)) : Double::text(bits);
        default: return hexadecimal(bits, format.width);
    }
}

std::string element_description(const FormatInfo& format) {
    const std::string tag(format.tag);
    switch (format.kind) {
        case ElementKind::boolean: return "T or F";
        case ElementKind::real: return "an " + tag + " value";
        case ElementKind::text: return "a quoted text or a character code such as 0x0D";
        default: break;
    }
    const Range range = range_of(format);
    const std::string article = format.kind == ElementKind::signed_integer ? "an " : "a ";
    return article + tag + " value (" + std::to_string(range.lowest) + " to " +
           std::to_string(range.highest) + ")";
}

}  // namespace sml
