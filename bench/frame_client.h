// A blocking client that sends and receives whole HSMS-shaped messages as bytes.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hsms/core/header.h"

namespace bench {

/// A message as received; the body is valid until the next receive().
struct Frame {
    hsms::Header header;
    std::string_view body;
    std::size_t size = 0;  ///< of the whole message, length field included
};

/// One thread at a time may send, and one receive. Every function throws std::system_error when the
/// connection is lost.
class FrameClient {
  public:
    /// Connects to a port on loopback.
    explicit FrameClient(std::uint16_t port);
    /// Goes on with a connection that is up.
    explicit FrameClient(asio::ip::tcp::socket socket);

    void send(std::string_view bytes);
    Frame receive();

  private:
    asio::io_context io_;
    asio::ip::tcp::socket socket_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  // of what was received and not handed out
    std::size_t end_ = 0;
};

/// A whole message.
std::string make_frame(const hsms::Header& header, std::string_view body);
/// Puts other system bytes into a whole message.
void set_system(std::string& frame, std::uint32_t system);

}  // namespace bench
