// The host side of the measurements: selects, answers the equipment, exchanges messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bench/frame_client.h"

namespace bench {

/// A message to be sent many times.
struct Request {
    std::string frame;
    static Request primary(std::uint8_t stream, std::uint8_t function, std::string_view body);
};

/// Sends the request with new system bytes and returns what has them too; primaries of an equipment that come
/// in between are answered. The same code speaks to the echo server and to the equipment.
Frame exchange(FrameClient& client, Request& request);

/// Answers a primary of the equipment as a host does: S1F13, S2F17, S5F1, S6F1 and S6F11; others without a
/// body.
void answer_primary(FrameClient& client, const hsms::Header& primary);

/// Selects and lets the equipment establish communication; then it must answer S1F1 and S1F3, or
/// std::runtime_error is thrown.
void bring_on_line(FrameClient& client);

/// S1F3 that asks for `count` status variables of the equipment's SVID.cfg, of every kind: numbers, reals and
/// texts.
Request status_request(const std::string& svid_file, std::size_t count);

}  // namespace bench
