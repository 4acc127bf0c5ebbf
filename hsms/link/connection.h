// One TCP connection with its session: framing, timers, sending, and an end that loses nothing that was sent.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "hsms/core/framer.h"
#include "hsms/core/session.h"
#include "hsms/link/callback_lane.h"
#include "hsms/link/link.h"
#include "hsms/link/outbox.h"

namespace hsms {

/// What a connection reports to its owner, on the I/O thread.
struct ConnectionEvents {
    std::function<void(SessionState)> state_changed;
    /// No message passes any more; the socket may linger. The owner closes the lane once its own state has
    /// changed.
    std::function<void()> down;
    std::function<void()> gone;  ///< the socket is closed
    std::function<void(std::string_view)> log;
};

/// Lives in a shared_ptr. Functions run on the I/O thread unless they say otherwise; a mutex guards the
/// session against senders on other threads, another one the outbox. They are never held together: a peer may
/// answer before a write has returned, and its answer must not wait for that.
class Connection : public std::enable_shared_from_this<Connection> {
  public:
    Connection(asio::io_context& io, asio::ip::tcp::socket socket, const LinkOptions& options,
               std::uint32_t first_id, std::shared_ptr<CallbackLane> lane);

    void start(ConnectionEvents events);
    /// Takes in at once what the peer has sent so far, its close included.
    void drain();
    /// Reads on after the callback lane had been full.
    void resume();
    /// Separates when selected, flushes and closes.
    void separate();
    /// Closes at once, for a reason that leaves nothing to be done on the connection.
    void abandon(const std::string& reason);

    bool up() const { return up_; }
    const std::string& peer() const { return peer_; }
    const std::shared_ptr<CallbackLane>& lane() const { return lane_; }

    // Any thread.
    std::uint32_t send(std::uint8_t stream, std::uint8_t function, bool wbit, std::string_view body);
    bool reply(std::uint8_t stream, std::uint8_t function, std::string_view body, std::uint32_t system);
    /// False from the moment on that nothing can be sent any more.
    bool writable() { return outbox_->writable(); }
    bool end_transaction(std::uint32_t id);
    void deselect();
    void linktest();
    std::uint32_t next_id() const;

  private:
    using Lock = std::unique_lock<std::mutex>;

    void wait_readable();
    void on_readable();
    bool read_some(std::size_t& taken);
    void take_in(std::string_view bytes);
    void handle(Message& message);
    void perform(Actions& actions, Message* message);
    void post_perform(Actions actions);

    void arm_timer();
    void on_timer();
    bool needs_arming() const;

    void watch_hold();

    void fail(const std::string& reason);
    void go_down(const std::string& reason);
    void linger();
    void close_socket();

    asio::io_context& io_;
    const std::shared_ptr<Outbox> outbox_;
    asio::ip::tcp::socket& socket_;  // the outbox's
    asio::steady_timer timer_;
    asio::steady_timer linger_timer_;
    asio::steady_timer hold_timer_;
    const Milliseconds hold_patience_;
    const std::size_t max_message_length_;
    const std::shared_ptr<CallbackLane> lane_;
    ConnectionEvents events_;
    std::string peer_;
    Framer framer_;
    bool up_ = false;
    bool reading_held_ = false;
    bool inside_message_ = false;

    mutable std::mutex session_mutex_;
    Session session_;
    Time armed_until_ = Time::max();
};

}  // namespace hsms
