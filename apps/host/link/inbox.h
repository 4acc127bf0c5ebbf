// Messages that were received and not taken yet.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "hsms/core/header.h"
#include "sml/message.h"

namespace host {

struct Received {
    sml::Message message;
    std::uint32_t id = 0;  ///< system bytes
    std::string defect;    ///< not empty: the body is no SECS-II item, and the message is shown without it
};

Received decode(const hsms::Header& header, const std::string& body);

/// One thread at a time. What is taken is the oldest of its kind, if any.
class Inbox {
  public:
    static constexpr std::size_t most_kept = 10000;  ///< beyond that the oldest go

    void keep(Received received);
    void clear() { all_.clear(); }

    std::optional<Received> take(std::uint8_t stream, std::uint8_t function);
    std::optional<Received> take(std::uint32_t id);
    std::optional<Received> take_any();

  private:
    std::optional<Received> take_if(const std::function<bool(const Received&)>& wanted);

    std::deque<Received> all_;
};

}  // namespace host
