// A host at the level of bytes: frames written by hand, good and bad, over a real connection on loopback.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace support {

/// A received HSMS message (SEMI E37): the ten header bytes and the body.
struct RawMessage {
    std::string header;
    std::string body;

    int s_type() const { return static_cast<unsigned char>(header[5]); }
    int stream() const { return static_cast<unsigned char>(header[2]) & 0x7F; }
    int function() const { return static_cast<unsigned char>(header[3]); }
    bool is_primary() const { return s_type() == 0 && function() % 2 == 1; }
    bool wbit() const { return (static_cast<unsigned char>(header[2]) & 0x80) != 0; }
};

/// Length and header of a message: session id, header bytes 2 and 3, PType, SType, system bytes.
std::string frame(unsigned session, unsigned byte2, unsigned byte3, unsigned p_type, unsigned s_type,
                  std::uint32_t system, const std::string& body = "");
std::string select_req(std::uint32_t system = 1);
std::string linktest_req(std::uint32_t system);
/// A data message of device 0; the W-bit is set on odd functions.
std::string data(int stream, int function, std::uint32_t system, const std::string& body = "");

class RawHost {
  public:
    /// Connects to 127.0.0.1; throws std::system_error.
    explicit RawHost(std::uint16_t port);
    ~RawHost();

    /// False when the connection is gone.
    bool send(const std::string& bytes);
    /// The next message; nothing when the connection ends or `limit` passes first.
    std::optional<RawMessage> receive(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// Sends Select.req and takes its answer; the select status, -1 without an answer.
    int select();
    /// Answers a primary of the equipment: S1F14 with COMMACK 0 and no names, a clock, B 0 to most.
    void answer(const RawMessage& primary);
    /// The next message with these system bytes; the equipment's own primaries on the way are answered.
    std::optional<RawMessage> reply_to(std::uint32_t system);
    /// Reads until the peer closes; false when it has not within ten seconds.
    bool closed_by_peer();
    /// FIN, or RST.
    void close(bool reset = false);

  private:
    bool read(std::size_t bytes, std::string& out, std::chrono::steady_clock::time_point deadline);

    asio::io_context io_;
    asio::ip::tcp::socket socket_;
    bool timed_out_ = false;
};

}  // namespace support
