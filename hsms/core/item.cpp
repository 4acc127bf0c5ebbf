#include "hsms/core/item.h"

#include <bit>

#include "hsms/core/wire.h"

namespace hsms {
namespace {

std::size_t width_of(Format format) {
    const FormatInfo* row = find_format(static_cast<std::uint8_t>(format));
    return row == nullptr || row->width == 0 ? 1 : row->width;
}

void append_big_endian(std::string& out, std::uint64_t value, std::size_t width) {
    for (std::size_t shift = width * 8; shift > 0; shift -= 8)
        out.push_back(static_cast<char>(static_cast<std::uint8_t>(value >> (shift - 8))));
}

template <class Value>
Item numbers(Format format, const std::vector<Value>& values) {
    Item item{format, {}, {}};
    const std::size_t width = width_of(format);
    item.bytes.reserve(values.size() * width);
    for (const Value value : values) append_big_endian(item.bytes, static_cast<std::uint64_t>(value), width);
    return item;
}

}  // namespace

Item Item::list(std::vector<Item> children) {
    return Item{Format::list, std::move(children), {}};
}

Item Item::ascii(std::string_view text) {
    return Item{Format::ascii, {}, std::string(text)};
}

Item Item::binary(std::string_view bytes) {
    return Item{Format::binary, {}, std::string(bytes)};
}

Item Item::boolean(bool value) {
    return Item{Format::boolean, {}, std::string(1, value ? '\1' : '\0')};
}

Item Item::integers(Format format, const std::vector<std::int64_t>& values) {
    return numbers(format, values);
}

Item Item::unsigned_integers(Format format, const std::vector<std::uint64_t>& values) {
    return numbers(format, values);
}

Item Item::reals(Format format, const std::vector<double>& values) {
    Item item{format, {}, {}};
    for (const double value : values) {
        if (format == Format::f4)
            append_big_endian(item.bytes, std::bit_cast<std::uint32_t>(static_cast<float>(value)), 4);
        else
            append_big_endian(item.bytes, std::bit_cast<std::uint64_t>(value), 8);
    }
    return item;
}

std::size_t Item::element_count() const {
    return format == Format::list ? children.size() : bytes.size() / width_of(format);
}

std::int64_t Item::integer(std::size_t index) const {
    const std::uint64_t value = unsigned_integer(index);
    const FormatInfo* row = find_format(static_cast<std::uint8_t>(format));
    if (row == nullptr || row->kind != ElementKind::signed_integer) return static_cast<std::int64_t>(value);
    const unsigned unused_bits = 64U - 8U * row->width;
    return static_cast<std::int64_t>(value << unused_bits) >> unused_bits;
}

std::uint64_t Item::unsigned_integer(std::size_t index) const {
    const std::size_t width = width_of(format);
    if (index >= bytes.size() / width) return 0;
    return load_big_endian(bytes.data() + index * width, width);
}

double Item::real(std::size_t index) const {
    const std::uint64_t bits = unsigned_integer(index);
    if (format == Format::f4)
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return std::bit_cast<double>(bits);
}

}  // namespace hsms
