#include "hsms/link/link_core.h"

#include <algorithm>
#include <asio/post.hpp>
#include <system_error>
#include <utility>

#include "hsms/link/thread_reaper.h"

namespace hsms {
namespace {

// How long callbacks go on after the close of their connection: then what is still queued is dropped, and a
// callback that runs on is not waited for.
constexpr Milliseconds callback_grace{500};
// Pause after accepting failed (no descriptors, no memory).
constexpr Milliseconds accept_pause{100};

Time now() {
    return std::chrono::steady_clock::now();
}

/// The free port this process was given last: a link that is re-created with port 0 gets it again.
std::atomic<std::uint16_t> last_free_port{0};

}  // namespace

LinkCore::LinkCore(const LinkOptions& options, std::shared_ptr<const LinkCallbacks> callbacks,
                   std::shared_ptr<CallbackLane> predecessor)
    : options_(options),
      callbacks_(std::move(callbacks)),
      work_(asio::make_work_guard(io_)),
      acceptor_(io_),
      retry_timer_(io_),
      watch_timer_(io_),
      port_(options.port),
      last_lane_(predecessor),
      ended_lane_(std::move(predecessor)),
      next_id_(options.first_id) {}

bool LinkCore::start() {
    bool started = true;
    if (options_.session.role == Role::passive) {
        started = listen();
        asio::post(io_, [this, started] { started ? accept() : retry_listening(); });
    } else {
        state_ = LinkState::connecting;
        asio::post(io_, [this] { connect(); });
    }
    running_ = true;
    try {
        spawn_thread([self = shared_from_this()] { self->run(); });
    } catch (const std::system_error& error) {  // no thread left
        running_ = false;
        log(std::string("cannot start the I/O thread: ") + error.what());
        return false;
    }
    return started;
}

void LinkCore::run() {
    io_.run();
    state_ = LinkState::stopped;
    {
        const std::lock_guard lock(mutex_);
        running_ = false;
    }
    changed_.notify_all();
}

bool LinkCore::await_selected(Milliseconds limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return state_ == LinkState::selected || !running_; });
    return state_ == LinkState::selected;
}

void LinkCore::begin_stop() {
    asio::post(io_, [this] {
        if (std::exchange(stopping_, true)) return;
        ErrorCode ignored;
        acceptor_.close(ignored);
        connecting_ = nullptr;
        retry_timer_.cancel();
        if (const auto current = connection()) current->separate();
        for (const Watched& watched : watched_) watched.lane->drop_queued();
        work_.reset();
        end_if_done();
    });
}

void LinkCore::wait_stopped() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !running_; });
}

void LinkCore::mute() {
    muted_ = true;
    if (const auto lane = last_lane()) lane->mute();
}

void LinkCore::separate() {
    asio::post(io_, [this] {
        if (const auto current = connection()) current->separate();
    });
}

std::shared_ptr<Connection> LinkCore::connection() const {
    const std::lock_guard lock(mutex_);
    return current_;
}

std::shared_ptr<CallbackLane> LinkCore::last_lane() const {
    const std::lock_guard lock(mutex_);
    return last_lane_;
}

std::shared_ptr<CallbackLane> LinkCore::ended_lane() const {
    const std::lock_guard lock(mutex_);
    return ended_lane_;
}

std::string LinkCore::peer() const {
    const auto current = connection();
    return current ? current->peer() : std::string();
}

std::uint32_t LinkCore::next_id() const {
    const std::lock_guard lock(mutex_);
    return current_ ? current_->next_id() : next_id_;
}

void LinkCore::log(std::string_view line) const {
    if (options_.log) options_.log(line);
}

// ---- listening

bool LinkCore::listen() {
    ErrorCode error;
    const std::string text = options_.address.empty() ? "127.0.0.1" : options_.address;
    const auto address = asio::ip::make_address(text == "localhost" ? "127.0.0.1" : text, error);
    if (!error && listen_on(address, error)) {
        state_ = LinkState::listening;
        log("listening on " + acceptor_.local_endpoint(error).address().to_string() + " port " +
            std::to_string(port_) + (only_peer_ ? " for " + text : ""));
        return true;
    }
    log("cannot listen on " + text + " port " + std::to_string(options_.port) + ": " + error.message());
    return false;
}

/// An address that is none of this machine's is the peer's.
bool LinkCore::listen_on(const asio::ip::address& address, ErrorCode& error) {
    only_peer_.reset();
    if (bind_and_listen({address, options_.port}, error)) return true;
    if (error != std::errc::address_not_available && error != std::errc::address_family_not_supported)
        return false;
    only_peer_ = address;
    const auto all = address.is_v6() ? asio::ip::address(asio::ip::address_v6::any())
                                     : asio::ip::address(asio::ip::address_v4::any());
    return bind_and_listen({all, options_.port}, error);
}

bool LinkCore::bind_and_listen(const tcp::endpoint& endpoint, ErrorCode& error) {
    const auto attempt = [&](std::uint16_t port) {
        ErrorCode ignored;
        acceptor_.close(ignored);
        error.clear();
        acceptor_.open(endpoint.protocol(), error);
        if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
        if (!error) acceptor_.bind({endpoint.address(), port}, error);
        if (!error) acceptor_.listen(tcp::acceptor::max_listen_connections, error);
        if (error) acceptor_.close(ignored);
        return !error;
    };
    const bool any_port = endpoint.port() == 0;
    const std::uint16_t known_port = last_free_port;
    const bool bound = (any_port && known_port != 0 && attempt(known_port)) || attempt(endpoint.port());
    if (!bound) return false;
    port_ = acceptor_.local_endpoint(error).port();
    if (any_port) last_free_port = port_.load();
    return true;
}

void LinkCore::retry_listening() {
    if (stopping_) return;
    retry_timer_.expires_after(options_.t5);
    retry_timer_.async_wait([this](const ErrorCode& error) {
        if (error || stopping_) return;
        listen() ? accept() : retry_listening();
    });
}

void LinkCore::accept() {
    if (stopping_) return;
    acceptor_.async_accept([this](const ErrorCode& error, tcp::socket socket) {
        if (stopping_ || error == asio::error::operation_aborted) return;
        if (error) return accept_later(error);
        accept_error_logged_ = false;
        on_accepted(std::move(socket));
        accept();
    });
}

void LinkCore::accept_later(const ErrorCode& error) {
    if (!std::exchange(accept_error_logged_, true)) log("cannot accept a connection: " + error.message());
    retry_timer_.expires_after(accept_pause);
    retry_timer_.async_wait([this](const ErrorCode& timer_error) {
        if (!timer_error) accept();
    });
}

bool LinkCore::may_connect(const asio::ip::address& address) const {
    const auto is_it = [&](const std::string& text) {
        ErrorCode error;
        return asio::ip::make_address(text, error) == address && !error;
    };
    return options_.allowed_peers.empty() ||
           std::any_of(options_.allowed_peers.begin(), options_.allowed_peers.end(), is_it);
}

void LinkCore::on_accepted(tcp::socket socket) {
    ErrorCode error;
    const auto address = socket.remote_endpoint(error).address();
    if (error) return;  // gone again
    if (only_peer_ && address != *only_peer_) {
        log("connection from " + address.to_string() + " refused: not the peer");
        return;
    }
    if (!may_connect(address)) {
        log("connection from " + address.to_string() + " refused: not an allowed address");
        return;
    }
    // A peer that closed and came back at once is not to be refused because of its own predecessor.
    if (const auto current = connection()) current->drain();
    if (connection()) {
        log("connection from " + address.to_string() + " refused: one is up");
        return;
    }
    adopt(std::move(socket));
}

// ---- connecting

LinkCore::tcp::endpoint LinkCore::resolve(ErrorCode& error) const {
    const auto address = asio::ip::make_address(options_.address, error);
    if (!error) return {address, options_.port};
    tcp::resolver resolver(const_cast<asio::io_context&>(io_));
    const auto found = resolver.resolve(options_.address, std::to_string(options_.port), error);
    return error || found.empty() ? tcp::endpoint() : found.begin()->endpoint();
}

/// Attempts start T5 apart; one that is still under way then is given up.
void LinkCore::connect() {
    if (stopping_) return;
    state_ = LinkState::connecting;
    retry_timer_.expires_after(options_.t5);
    retry_timer_.async_wait([this](const ErrorCode& timer_error) {
        if (!timer_error && !connection()) connect();
    });
    auto socket = std::make_shared<tcp::socket>(io_);
    connecting_ = socket;  // gives up an attempt that is still under way
    ErrorCode error;
    const tcp::endpoint endpoint = resolve(error);
    if (error) return on_connected(std::move(*socket), error);
    socket->async_connect(endpoint, [this, attempt = std::weak_ptr(socket)](const ErrorCode& result) {
        const auto connected = attempt.lock();
        if (!connected || connecting_ != connected || stopping_) return;
        connecting_ = nullptr;
        on_connected(std::move(*connected), result);
    });
}

void LinkCore::on_connected(tcp::socket socket, const ErrorCode& error) {
    if (!error) {
        connect_error_logged_ = false;
        return adopt(std::move(socket));
    }
    if (std::exchange(connect_error_logged_, true)) return;  // one line until it works again
    log("cannot connect to " + options_.address + " port " + std::to_string(options_.port) + ": " +
        error.message());
}

// ---- the connection

void LinkCore::adopt(tcp::socket socket) {
    const auto self = weak_from_this();
    auto progress = [self] {
        // A handler that owned its core would keep it alive from within its own queue.
        if (const auto core = self.lock())
            asio::post(core->io_, [running = core.get()] { running->on_lane_progress(); });
    };
    auto lane = std::make_shared<CallbackLane>(callbacks_, last_lane(), std::move(progress));
    auto connection = std::make_shared<Connection>(io_, std::move(socket), options_, next_id_, lane);
    connections_.insert(connection);
    {
        const std::lock_guard lock(mutex_);
        current_ = connection;
        last_lane_ = lane;
    }
    if (muted_) lane->mute();
    state_ = LinkState::connected;
    log("connected with " + connection->peer());

    const std::weak_ptr<Connection> weak = connection;
    connection->start({
        [this](SessionState state) {
            {
                const std::lock_guard lock(mutex_);
                state_ = state == SessionState::selected ? LinkState::selected : LinkState::connected;
            }
            changed_.notify_all();
            log(state == SessionState::selected ? "selected" : "deselected");
        },
        [this, weak] {
            if (const auto closed = weak.lock()) on_down(*closed);
        },
        [this, weak] {
            if (const auto closed = weak.lock()) on_gone(closed);
        },
        [this](std::string_view line) { log(line); },
    });
}

void LinkCore::on_down(Connection& connection) {
    {
        const std::uint32_t next_id = connection.next_id();
        const std::lock_guard lock(mutex_);
        next_id_ = next_id;
        ended_lane_ = connection.lane();
        current_ = nullptr;
    }
    const bool passive = options_.session.role == Role::passive;
    state_ = passive ? LinkState::listening : LinkState::connecting;
    if (stopping_) connection.lane()->drop_queued();
    watch(connection.lane());
    // Active: the retry timer of the attempt that led here may still run; it connects then.
    if (!passive && retry_timer_.expiry() <= now()) connect();
}

void LinkCore::on_gone(const std::shared_ptr<Connection>& connection) {
    connections_.erase(connection);
    end_if_done();
}

void LinkCore::watch(std::shared_ptr<CallbackLane> lane) {
    const std::uint64_t callback = lane->current_callback();
    watched_.push_back({std::move(lane), callback, now() + callback_grace});
    if (watched_.size() == 1) on_watch_timer();
}

void LinkCore::on_watch_timer() {
    while (!watched_.empty() && watched_.front().until <= now()) {
        Watched watched = std::move(watched_.front());
        watched_.pop_front();
        watched.lane->drop_queued();
        watched.lane->take_over(watched.callback);
        if (!watched.lane->closed_delivered()) {
            watched.callback = watched.lane->current_callback();
            watched.until = now() + callback_grace;
            watched_.push_back(std::move(watched));
        }
    }
    end_if_done();
    if (watched_.empty()) return;
    watch_timer_.expires_at(watched_.front().until);
    watch_timer_.async_wait([this](const ErrorCode& error) {
        if (!error) on_watch_timer();
    });
}

void LinkCore::on_lane_progress() {
    std::erase_if(watched_, [](const Watched& watched) { return watched.lane->closed_delivered(); });
    if (const auto current = connection()) current->resume();
    end_if_done();
}

void LinkCore::end_if_done() {
    if (!stopping_ || !connections_.empty() || !watched_.empty()) return;
    watch_timer_.cancel();
    io_.stop();
}

}  // namespace hsms
