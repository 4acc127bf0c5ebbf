// What a started link runs: the I/O thread's loop, listening or connecting, and the connection that is up.
#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "hsms/link/connection.h"
#include "hsms/link/line_limit.h"
#include "hsms/link/link.h"
#include "hsms/link/listener.h"

namespace hsms {

/// Kept alive by its I/O thread until everything has ended. Private functions run on that thread.
class LinkCore : public std::enable_shared_from_this<LinkCore> {
  public:
    LinkCore(const LinkOptions& options, std::shared_ptr<const LinkCallbacks> callbacks,
             std::shared_ptr<CallbackLane> predecessor);

    // Any thread.
    /// False when the address cannot be listened on now (it is tried again), and when there is no thread.
    bool start();
    /// Between a start that found a thread and the end.
    bool running() const;
    /// Begins the end: closes everything; the I/O thread ends once all on_closed are delivered.
    void begin_stop();
    void wait_stopped();
    /// No callback is begun any more.
    void mute();
    void separate();

    std::shared_ptr<Connection> connection() const;
    /// The lane of the newest connection; may be null.
    std::shared_ptr<CallbackLane> last_lane() const;
    /// That of the last connection that has ended; null before one has.
    std::shared_ptr<CallbackLane> ended_lane() const;
    LinkState state() const { return state_.load(); }
    /// Waits until a connection is selected; false when none is within `limit` or the link has ended.
    bool await_selected(Milliseconds limit);
    std::uint16_t port() const { return listener_.port(); }
    std::string peer() const;
    std::uint32_t next_id() const;

  private:
    using tcp = asio::ip::tcp;
    using ErrorCode = asio::error_code;

    void run();
    void recover(const char* failure);
    void take_up();
    void log(std::string_view line, std::string_view detail = {}) const;
    bool passive() const { return options_.session.role == Role::passive; }

    void on_accepted(tcp::socket socket, const asio::ip::address& peer);
    void connect();
    tcp::endpoint resolve(ErrorCode& error) const;
    void on_connected(tcp::socket socket, const ErrorCode& error);

    std::shared_ptr<CallbackLane> make_lane();
    ConnectionEvents events_of(const std::shared_ptr<Connection>& connection);
    void adopt(tcp::socket socket);
    void on_left_out(std::uint64_t connections);
    void on_session_state(SessionState state);
    void on_down(Connection& connection);
    void on_gone(const std::shared_ptr<Connection>& connection);
    void on_watch_timer();
    void on_lane_progress();
    void end_if_done();

    struct Watched {
        std::shared_ptr<CallbackLane> lane;
        std::uint64_t callback;  // the one that ran when the watch began
        Time until;
    };

    const LinkOptions options_;
    const std::shared_ptr<const LinkCallbacks> callbacks_;
    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    Listener listener_;
    std::shared_ptr<tcp::socket> connecting_;  // the attempt under way
    asio::steady_timer retry_timer_;
    asio::steady_timer watch_timer_;
    std::set<std::shared_ptr<Connection>> connections_;  // sockets that are open, lingering ones included
    std::vector<Watched> watched_;  // closing lanes, in order of `until`; has room for that of current_
    LineLimit accepted_;
    bool quiet_ = false;  // nothing about current_ is logged: it is one of a flood
    bool connect_error_logged_ = false;
    bool stopping_ = false;

    std::atomic<LinkState> state_{LinkState::stopped};
    std::atomic<bool> muted_{false};
    mutable std::mutex mutex_;         // what follows
    std::condition_variable changed_;  // selected, or not running any more
    std::shared_ptr<Connection> current_;
    std::shared_ptr<CallbackLane> last_lane_;
    std::shared_ptr<CallbackLane> ended_lane_;
    std::uint32_t next_id_;
    bool running_ = false;
};

}  // namespace hsms
