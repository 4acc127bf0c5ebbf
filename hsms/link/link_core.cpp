#include "hsms/link/link_core.h"

#include <algorithm>
#include <asio/post.hpp>
#include <exception>
#include <new>
#include <thread>
#include <utility>

#include "hsms/link/thread_reaper.h"

namespace hsms {
namespace {

// How long callbacks go on after the close of their connection. Then what is still queued is dropped, and a
// callback that is still running is no longer waited for.
constexpr Milliseconds callback_grace{500};
// Pause after work of the I/O thread failed (no memory).
constexpr Milliseconds failure_pause{100};

Time now() {
    return std::chrono::steady_clock::now();
}

}  // namespace

LinkCore::LinkCore(const LinkOptions& options, std::shared_ptr<const LinkCallbacks> callbacks,
                   std::shared_ptr<CallbackLane> predecessor)
    : options_(options),
      callbacks_(std::move(callbacks)),
      work_(asio::make_work_guard(io_)),
      listener_(io_, options_,
                {.listening = [this] { state_ = LinkState::listening; },
                 .accepted = [this](tcp::socket socket,
                                    const asio::ip::address& peer) { on_accepted(std::move(socket), peer); },
                 .log = [this](std::string_view line) { log(line); }}),
      retry_timer_(io_),
      watch_timer_(io_),
      accepted_(io_, [this](std::uint64_t left_out) { on_left_out(left_out); }),
      last_lane_(predecessor),
      ended_lane_(std::move(predecessor)),
      next_id_(options.first_id) {}

bool LinkCore::start() {
    bool started = true;
    if (passive())
        started = listener_.listen();
    else
        state_ = LinkState::connecting;
    running_ = true;
    try {
        asio::post(io_, [this] { take_up(); });
        spawn_thread([self = shared_from_this()] { self->run(); });
    } catch (const std::exception& error) {  // no thread left, or no memory
        running_ = false;
        state_ = LinkState::stopped;
        listener_.close();  // or peers would be connected and never answered
        log("cannot start the I/O thread: ", error.what());
        return false;
    }
    return started;
}

bool LinkCore::running() const {
    const std::lock_guard lock(mutex_);
    return running_;
}

/// A failure on this thread (mostly: no memory) only ends the connection that is up.
void LinkCore::run() {
    for (const char* failure = nullptr; !io_.stopped();) {
        try {
            if (failure != nullptr) recover(std::exchange(failure, nullptr));
            io_.run();
        } catch (const std::bad_alloc&) {
            failure = "out of memory";
        } catch (const std::exception& error) {
            log("the I/O thread goes on after an error: ", error.what());
            failure = "internal error";
        }
        if (failure != nullptr) std::this_thread::sleep_for(failure_pause);
    }
    state_ = LinkState::stopped;
    {
        const std::lock_guard lock(mutex_);
        running_ = false;
    }
    changed_.notify_all();
}

/// Lingering connections go too: the failure may have come before the timer that ends them was set.
void LinkCore::recover(const char* failure) {
    while (!connections_.empty()) {
        const auto connection = *connections_.begin();
        connection->abandon(failure);
        connections_.erase(connection);
    }
    take_up();
}

/// Listens or connects, and watches what is ending.
void LinkCore::take_up() {
    if (stopping_) return on_watch_timer();
    if (passive())
        listener_.run();
    else if (!connection())
        connect();
    if (!watched_.empty()) on_watch_timer();
}

bool LinkCore::await_selected(Milliseconds limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return state_ == LinkState::selected || !running_; });
    return state_ == LinkState::selected;
}

void LinkCore::begin_stop() {
    asio::post(io_, [this] {
        if (std::exchange(stopping_, true)) return;
        listener_.close();
        accepted_.end_period();
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

/// Also for use while an exception is handled.
void LinkCore::log(std::string_view line, std::string_view detail) const {
    if (!options_.log) return;
    try {
        options_.log(detail.empty() ? line : std::string(line).append(detail));
    } catch (const std::bad_alloc&) {  // only this line is lost
    }
}

// ---- a connection comes

void LinkCore::on_accepted(tcp::socket socket, const asio::ip::address& peer) {
    // A peer that closes and reconnects at once must not be refused because of its old connection.
    if (const auto current = connection()) current->drain();
    if (connection()) return listener_.refuse(peer, "one is up");
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

std::shared_ptr<CallbackLane> LinkCore::make_lane() {
    auto progress = [self = weak_from_this()] {
        // A handler that owned its core would keep it alive from within its own queue.
        const auto core = self.lock();
        if (!core) return;
        try {
            asio::post(core->io_, [running = core.get()] { running->on_lane_progress(); });
        } catch (const std::bad_alloc&) {  // the watch, or that of held reading, looks for itself
        }
    };
    return std::make_shared<CallbackLane>(callbacks_, last_lane(), std::move(progress));
}

ConnectionEvents LinkCore::events_of(const std::shared_ptr<Connection>& connection) {
    const std::weak_ptr<Connection> weak = connection;
    return {
        [this](SessionState state) { on_session_state(state); },
        [this, weak] {
            if (const auto closed = weak.lock()) on_down(*closed);
        },
        [this, weak] {
            if (const auto closed = weak.lock()) on_gone(closed);
        },
        [this](std::string_view line) {
            if (!quiet_) log(line);
        },
    };
}

/// All that may fail comes before the lane's thread, which only the end of a started connection ends.
void LinkCore::adopt(tcp::socket socket) {
    const auto lane = make_lane();
    const auto connection = std::make_shared<Connection>(io_, std::move(socket), options_, next_id_, lane);
    ConnectionEvents events = events_of(connection);
    watched_.reserve(watched_.size() + 1);
    quiet_ = passive() && !accepted_.take();
    connections_.insert(connection);
    try {
        lane->start();
    } catch (const std::exception& error) {
        connections_.erase(connection);
        if (!quiet_) log("connection closed: cannot start its callback thread: ", error.what());
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        current_ = connection;
        last_lane_ = lane;
    }
    if (muted_) lane->mute();
    state_ = LinkState::connected;
    connection->start(std::move(events));
}

void LinkCore::on_session_state(SessionState state) {
    const bool selected = state == SessionState::selected;
    {
        const std::lock_guard lock(mutex_);
        state_ = selected ? LinkState::selected : LinkState::connected;
    }
    changed_.notify_all();
    if (!quiet_) log(selected ? "selected" : "deselected");
}

void LinkCore::on_left_out(std::uint64_t connections) {
    std::string line = std::to_string(connections) + " more connections";
    if (std::exchange(quiet_, false) && connection())
        line += ", the last with " + peer() + " is " + std::string(to_text(state_));
    log(line);
}

void LinkCore::on_down(Connection& connection) {
    {
        const std::uint32_t next_id = connection.next_id();
        const std::lock_guard lock(mutex_);
        next_id_ = next_id;
        ended_lane_ = connection.lane();
        current_ = nullptr;
    }
    state_ = passive() ? LinkState::listening : LinkState::connecting;
    const auto& lane = connection.lane();
    if (stopping_) lane->drop_queued();
    watched_.push_back({lane, lane->current_callback(), now() + callback_grace});
    lane->close();
    // From here on an exception does no harm.
    if (watched_.size() == 1) on_watch_timer();
    // Active: the retry timer of the attempt that led here may still run; it connects then.
    if (!passive() && retry_timer_.expiry() <= now()) connect();
}

void LinkCore::on_gone(const std::shared_ptr<Connection>& connection) {
    connections_.erase(connection);
    end_if_done();
}

void LinkCore::on_watch_timer() {
    while (!watched_.empty() && watched_.front().until <= now()) {
        Watched& watched = watched_.front();
        watched.lane->drop_queued();
        try {
            watched.lane->take_over(watched.callback);
        } catch (const std::exception& error) {
            log("cannot start a thread for the close after a stuck callback: ", error.what());
        }
        watched.callback = watched.lane->current_callback();
        watched.until = now() + callback_grace;
        std::rotate(watched_.begin(), watched_.begin() + 1, watched_.end());
        if (watched_.back().lane->closed_delivered()) watched_.pop_back();
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
