// The HSMS message header (SEMI E37).
//
//   byte  0  1  2  3 | 4  5 |    6     |    7     |   8   |   9   | 10 11 12 13 | 14 ...
//        +-----------+------+----------+----------+-------+-------+-------------+-------
//        |  length   | sess.| W+stream | function | PType | SType | system bytes| body
//        +-----------+------+----------+----------+-------+-------+-------------+-------
//   length   bytes after it: 10 + body
//   byte 6,7 data: W-bit (0x80) and stream, function; Select.rsp and Deselect.rsp: 0, status;
//            Reject.req: the rejected message's PType or SType, reason; other control messages: 0, 0
//   All numbers are big-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace hsms {

inline constexpr std::size_t length_size = 4;
inline constexpr std::size_t header_size = 10;

enum class SType : std::uint8_t {
    data = 0,
    select_req = 1,
    select_rsp = 2,
    deselect_req = 3,
    deselect_rsp = 4,
    linktest_req = 5,
    linktest_rsp = 6,
    reject_req = 7,
    separate_req = 9,
};

enum class RejectReason : std::uint8_t {
    stype_not_supported = 1,
    ptype_not_supported = 2,
    transaction_not_open = 3,
    not_selected = 4,
};

struct Header {
    std::uint16_t session_id = 0;
    std::uint8_t byte2 = 0;  ///< header byte 2: W-bit and stream of a data message
    std::uint8_t byte3 = 0;  ///< header byte 3: function, status or reason
    std::uint8_t ptype = 0;
    std::uint8_t stype = 0;
    std::uint32_t system = 0;

    SType type() const { return static_cast<SType>(stype); }
    bool wbit() const { return (byte2 & 0x80U) != 0; }
    std::uint8_t stream() const { return byte2 & 0x7FU; }
    std::uint8_t function() const { return byte3; }

    bool operator==(const Header&) const = default;
};

/// A data message header; `stream` is cut to 7 bits.
Header data_header(std::uint16_t device_id, std::uint8_t stream, std::uint8_t function, bool wbit,
                   std::uint32_t system);

/// One HSMS message.
struct Message {
    Header header;
    std::string body;
};

using HeaderBytes = std::array<char, length_size + header_size>;

/// Length field and header of a message whose body has `body_size` bytes.
HeaderBytes encode_header(const Header& header, std::size_t body_size);
/// The header in the 10 bytes from `from` (after the length field).
Header decode_header(const char* from);

}  // namespace hsms
