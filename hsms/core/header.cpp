#include "hsms/core/header.h"

#include "hsms/core/wire.h"

namespace hsms {

Header data_header(std::uint16_t device_id, std::uint8_t stream, std::uint8_t function, bool wbit,
                   std::uint32_t system) {
    const auto byte2 = static_cast<std::uint8_t>((stream & 0x7FU) | (wbit ? 0x80U : 0U));
    return {device_id, byte2, function, 0, static_cast<std::uint8_t>(SType::data), system};
}

HeaderBytes encode_header(const Header& header, std::size_t body_size) {
    HeaderBytes bytes{};
    store_big_endian(bytes.data(), header_size + body_size, 4);
    store_big_endian(bytes.data() + 4, header.session_id, 2);
    bytes[6] = static_cast<char>(header.byte2);
    bytes[7] = static_cast<char>(header.byte3);
    bytes[8] = static_cast<char>(header.ptype);
    bytes[9] = static_cast<char>(header.stype);
    store_big_endian(bytes.data() + 10, header.system, 4);
    return bytes;
}

Header decode_header(const char* from) {
    return {static_cast<std::uint16_t>(load_big_endian(from, 2)),
            static_cast<std::uint8_t>(from[2]),
            static_cast<std::uint8_t>(from[3]),
            static_cast<std::uint8_t>(from[4]),
            static_cast<std::uint8_t>(from[5]),
            static_cast<std::uint32_t>(load_big_endian(from + 6, 4))};
}

}  // namespace hsms
