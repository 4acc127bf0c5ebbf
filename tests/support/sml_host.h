// A host that speaks SML over a real connection: asks, answers the equipment's primaries and keeps them.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "sml/message.h"
#include "support/raw_host.h"

namespace support {

class SmlHost {
  public:
    /// A primary of the equipment, answered, and when it came.
    struct Received {
        sml::Message message;
        std::chrono::steady_clock::time_point at;
    };

    /// Connects, selects and greets with S1F13; throws std::runtime_error when the equipment does not answer.
    explicit SmlHost(std::uint16_t port);

    /// Sends a primary and returns the reply as SML in one line; what else comes meanwhile is answered and
    /// kept. Throws std::runtime_error without a reply.
    std::string ask(const std::string& sml);
    /// The next primary of that stream and function, from the kept ones or off the line; what was kept
    /// before it is dropped. Throws std::runtime_error when none comes.
    Received next(int stream, int function, std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// The next primary, whatever it is; nothing when none comes.
    std::optional<Received> next_primary(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// The primaries that came and were not handed out yet.
    std::deque<Received>& kept() { return kept_; }
    RawHost& raw() { return raw_; }

  private:
    /// Takes one message off the line, answers and keeps a primary; false when none came in time.
    bool pump(std::chrono::milliseconds limit, RawMessage& message);

    RawHost raw_;
    std::deque<Received> kept_;
    std::uint32_t system_ = 0x1000;
};

}  // namespace support
