// The other end of a link in tests, over a real connection on loopback: bytes and frames, good and bad, and
// SML on top. It blocks; one thread.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "hsms/core/header.h"
#include "sml/message.h"

namespace support {

constexpr std::chrono::milliseconds patience = std::chrono::seconds(10);

/// Length and header of a message: session id, header bytes 2 and 3, PType, SType, system bytes.
std::string frame(unsigned session, unsigned byte2, unsigned byte3, unsigned p_type, unsigned s_type,
                  std::uint32_t system, const std::string& body = "");
std::string select_req(std::uint32_t system = 1);
std::string linktest_req(std::uint32_t system);
/// A data message of device 0; the W-bit is set on odd functions.
std::string data(int stream, int function, std::uint32_t system, const std::string& body = "");

class Host {
  public:
    using Messages = std::vector<sml::Message>;

    /// Connects to 127.0.0.1; throws std::system_error. `from` is an address of 127/8; to the peer that is
    /// another machine.
    explicit Host(std::uint16_t port, const std::string& from = "127.0.0.1");
    /// Takes the next connection.
    explicit Host(asio::ip::tcp::acceptor& acceptor);

    /// False when the connection is gone.
    bool send(const std::string& bytes);
    /// The next `size` bytes; those before the end when the connection ends or `limit` passes first.
    std::string receive_bytes(std::size_t size, std::chrono::milliseconds limit = patience);
    /// The next message, unanswered; nothing when the connection ends or `limit` passes first.
    std::optional<hsms::Message> receive(std::chrono::milliseconds limit = patience);
    /// Sends Select.req and takes its answer; the select status, -1 without an answer.
    int select();
    /// Selects and greets with S1F13; throws std::runtime_error when the equipment does not answer.
    void communicate();
    /// Reads until the peer closes; false when it has not in time.
    bool closed_by_peer();
    /// FIN, or RST.
    void close(bool reset = false);

    /// What it sends for a primary: secondaries carry the primary's id. fa-host's automatic replies, unless
    /// another is set.
    std::function<Messages(const sml::Message& primary)> answers;
    /// The reply to a data message with these system bytes; primaries on the way are answered and kept.
    std::optional<sml::Message> reply_to(std::uint32_t system);
    /// Sends a primary and returns the reply as SML in one line. Throws std::runtime_error without a reply.
    std::string ask(const std::string& sml);

    /// A primary of the equipment, answered, and when it came.
    struct Received {
        sml::Message message;
        std::chrono::steady_clock::time_point at;
    };
    /// The next primary, from the kept ones or off the line; nothing when none comes.
    std::optional<Received> next_primary(std::chrono::milliseconds limit = patience);
    /// The next one of that stream and function; those before it are dropped. Throws std::runtime_error when
    /// none comes.
    Received next(int stream, int function, std::chrono::milliseconds limit = patience);
    /// The primaries that came and were not handed out yet.
    std::deque<Received>& kept() { return kept_; }

  private:
    using Clock = std::chrono::steady_clock;

    bool read(std::size_t size, std::string& out, Clock::time_point deadline);
    /// Takes one message off the line; a primary is answered and kept.
    std::optional<hsms::Message> take(Clock::time_point deadline);
    void send(const sml::Message& message, std::uint32_t system);

    asio::io_context io_;
    asio::ip::tcp::socket socket_;
    bool timed_out_ = false;
    std::deque<Received> kept_;
    std::uint32_t system_ = 0x1000;
};

/// A host that is past the S1F13.
struct CommunicatingHost : Host {
    explicit CommunicatingHost(std::uint16_t port) : Host(port) { communicate(); }
};

}  // namespace support
