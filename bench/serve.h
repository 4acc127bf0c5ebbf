// The accept loop of the yardsticks.
#pragma once

#include <asio/ip/tcp.hpp>
#include <functional>

namespace bench {

/// Prints "= ready PORT" and serves connections on a free port of loopback until the process is ended, each
/// on a thread of its own. What `serve_one` throws is a line on standard error.
void serve(std::function<void(asio::ip::tcp::socket)> serve_one);

}  // namespace bench
