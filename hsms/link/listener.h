// The passive side of a link: the address that is listened on, and who is let in.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "hsms/link/line_limit.h"
#include "hsms/link/link.h"

namespace hsms {

/// What a listener reports to its owner.
struct ListenerEvents {
    std::function<void()> listening;
    std::function<void(asio::ip::tcp::socket socket, const asio::ip::address& peer)> accepted;
    std::function<void(std::string_view)> log;
};

/// Functions run on the I/O thread unless they say otherwise. `options` outlives the listener.
class Listener {
  public:
    Listener(asio::io_context& io, const LinkOptions& options, ListenerEvents events);

    /// Before the I/O thread runs: false when the address cannot be listened on now.
    bool listen();
    /// Accepts connections; tries to listen every T5 while it does not. Also resumes what an exception broke
    /// off.
    void run();
    void close();
    /// Closes a connection that is not wanted: a line in the log, or a count of them when there are many.
    void refuse(const asio::ip::address& peer, const std::string& why);

    /// Any thread: the port listened on.
    std::uint16_t port() const { return port_.load(); }

  private:
    using tcp = asio::ip::tcp;
    using ErrorCode = asio::error_code;

    bool listen_on(const asio::ip::address& address, ErrorCode& error);
    bool bind_and_listen(const asio::ip::address& address, ErrorCode& error);
    void later(Milliseconds pause);
    void accept();
    void on_accepted(tcp::socket socket);
    bool is_allowed(const asio::ip::address& address) const;

    const LinkOptions& options_;
    const ListenerEvents events_;
    tcp::acceptor acceptor_;
    asio::steady_timer retry_timer_;
    LineLimit refusals_;
    std::optional<asio::ip::address> only_peer_;
    std::atomic<std::uint16_t> port_;
    bool accept_error_logged_ = false;
    bool closed_ = false;
};

}  // namespace hsms
