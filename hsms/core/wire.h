// Big-endian numbers as they are on the wire.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hsms {

/// The unsigned number in the `width` (1 to 8) bytes from `from`.
inline std::uint64_t load_big_endian(const char* from, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8U | static_cast<std::uint8_t>(from[i]);
    return value;
}

/// Writes the low `width` (1 to 8) bytes of `value` to `to`.
inline void store_big_endian(char* to, std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0; value >>= 8U) to[i] = static_cast<char>(value & 0xFFU);
}

}  // namespace hsms
