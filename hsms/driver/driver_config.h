// What a program sets on the driver and asks it, beside the driver interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace hsms {

struct DriverOptions {
    std::string online_log;  ///< path of the online log; empty: what is logged is dropped
    std::size_t log_rotate_bytes = std::size_t{10} << 20U;
    std::size_t log_rotate_count = 5;
    std::size_t max_message_length = std::size_t{64} << 20U;  ///< of a received message, header and body
    /// Passive: the only addresses (in figures) that may connect, beside the one that the settings may name;
    /// empty for any.
    std::vector<std::string> allowed_hosts;
    /// Called for every connection and message operation, one line each without newline, before it takes
    /// effect; never by two threads at once. It must not call the driver.
    std::function<void(std::string_view)> journal;
};

/// For links that are connected from now on; the log and the journal change at once. What was logged to the
/// file before is written first.
void set_driver_options(DriverOptions options);

struct LinkStatus {
    std::string_view state = "stopped";  ///< or "listening", "connecting", "connected", "selected"
    std::uint16_t port = 0;              ///< the one listened on or connected to
    std::string peer = "-";              ///< address of the peer
};

/// Of the link that was created last and still exists. Any thread.
LinkStatus link_status();

/// Returns once everything logged by OnlineLog so far is in the file or given up. Empty, or one line that
/// says why it was given up.
std::string flush_online_log();

}  // namespace hsms
