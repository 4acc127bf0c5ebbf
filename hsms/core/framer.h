// Cuts the byte stream of a connection into HSMS messages.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "hsms/core/header.h"

namespace hsms {

/// Bytes in, messages out; keeps what is left over for the next bytes. No sockets and no locks: one thread at
/// a time.
class Framer {
  public:
    enum class Result : std::uint8_t {
        need_more,   ///< all input was taken, the message is not complete
        message,     ///< `out` is the next message; the input may hold more
        bad_length,  ///< a length below 10 or above the limit: the stream is lost
    };

    /// `max_length` bounds the length field (header and body).
    explicit Framer(std::size_t max_length) : max_length_(max_length) {}

    /// Takes bytes off the front of `input` until a message is complete or nothing is left. Memory grows with
    /// the bytes that came, never with the length that was announced.
    Result next(std::string_view& input, Message& out);

    /// Whether a message has begun and is not complete.
    bool inside_message() const { return have_ > 0; }
    /// The length field of the current message, once its four bytes have come.
    std::uint32_t announced_length() const { return length_; }

  private:
    static constexpr std::size_t prefix_size = length_size + header_size;

    bool take_prefix(std::string_view& input, std::size_t until);

    std::size_t max_length_;
    std::array<char, prefix_size> prefix_{};
    std::size_t have_ = 0;  // bytes of the current message so far
    std::uint32_t length_ = 0;
    Message message_;
};

}  // namespace hsms
