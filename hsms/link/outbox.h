// The sending side of one connection: a socket, and what it did not take yet.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "hsms/core/header.h"

namespace hsms {

/// Lives in a shared_ptr. Writers on any thread write to the socket themselves; what it does not take waits
/// here for the I/O thread. Functions run on the I/O thread unless they say otherwise.
class Outbox : public std::enable_shared_from_this<Outbox> {
  public:
    using Broken = std::function<void(const char* reason)>;

    /// A peer that leaves more than `max_waiting` bytes unread when the next message is written is given up.
    Outbox(asio::io_context& io, asio::ip::tcp::socket socket, std::size_t max_waiting);

    /// `broken` is called on the I/O thread when the connection cannot go on; it must not own the outbox.
    void start(Broken broken) { broken_ = std::move(broken); }

    /// Any thread: the socket takes the message now or it is kept. False when the connection is lost.
    bool write(const Header& header, std::string_view body);
    /// Any thread. False from the moment on that nothing can be written any more.
    bool writable();
    /// Any thread: nothing more is written; what waits still goes out.
    void stop();
    /// Shuts the sending direction down after the last byte that waits.
    void finish();
    void close();

    /// Only read and waited on from outside; its state is set by start and close alone.
    asio::ip::tcp::socket& socket() { return socket_; }

  private:
    using Lock = std::unique_lock<std::mutex>;

    bool give_up(const char* reason);
    void keep(std::string_view head, std::string_view body, std::size_t sent);
    void wait_writable();
    void on_writable();
    void shut_down();

    asio::io_context& io_;
    asio::ip::tcp::socket socket_;
    const std::size_t max_waiting_;
    Broken broken_;
    bool finishing_ = false;

    std::mutex mutex_;    // what follows, and closing the socket
    std::string unsent_;  // from unsent_begin_ on
    std::size_t unsent_begin_ = 0;
    bool writable_ = true;  // until the connection ends
    bool waiting_ = false;  // for the socket to take more
};

}  // namespace hsms
