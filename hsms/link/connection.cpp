#include "hsms/link/connection.h"

#include <array>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <new>
#include <optional>
#include <utility>

namespace hsms {
namespace {

using asio::ip::tcp;

// How long a connection that was ended from this side may take to deliver what was sent.
constexpr Milliseconds linger_time{500};
constexpr std::size_t read_size = std::size_t{256} << 10U;
// Reads made in a row before other work of the I/O thread gets its turn.
constexpr int reads_per_turn = 16;
// What a drain takes in at the most.
constexpr std::size_t drain_limit = std::size_t{16} << 20U;

Time now() {
    return std::chrono::steady_clock::now();
}

/// One per I/O thread.
std::array<char, read_size>& read_buffer() {
    thread_local const auto buffer = std::make_unique<std::array<char, read_size>>();
    return *buffer;  // NOLINT(clang-analyzer-cplusplus.NewDelete): it lives as long as the thread
}

bool would_block(const asio::error_code& error) {
    return error == asio::error::would_block || error == asio::error::try_again;
}

std::string peer_text(const tcp::socket& socket) {
    asio::error_code error;
    const tcp::endpoint endpoint = socket.remote_endpoint(error);
    return error ? std::string("unknown") : endpoint.address().to_string();
}

}  // namespace

Connection::Connection(asio::io_context& io, tcp::socket socket, const LinkOptions& options,
                       std::uint32_t first_id, std::shared_ptr<CallbackLane> lane)
    : io_(io),
      outbox_(std::make_shared<Outbox>(io, std::move(socket), options.max_send_buffer)),
      socket_(outbox_->socket()),
      timer_(io),
      linger_timer_(io),
      hold_timer_(io),
      hold_patience_(options.session.t6),
      max_message_length_(options.max_message_length),
      lane_(std::move(lane)),
      peer_(peer_text(socket_)),
      framer_(options.max_message_length),
      session_(options.session, first_id) {}

void Connection::start(ConnectionEvents events) {
    events_ = std::move(events);
    up_ = true;  // from here on abandon() undoes whatever fails
    events_.log("connected with " + peer_);
    asio::error_code ignored;
    socket_.set_option(tcp::no_delay(true), ignored);
    // Set before anyone else knows the socket: from here on its state is only read until it is closed.
    socket_.non_blocking(true, ignored);
    outbox_->start([weak = weak_from_this()](const char* reason) {
        if (const auto self = weak.lock()) self->abandon(reason);
    });
    Actions actions;
    {
        const Lock lock(session_mutex_);
        actions = session_.connected(now());
    }
    perform(actions, nullptr);
    wait_readable();
}

// ---- receiving

void Connection::wait_readable() {
    if (!socket_.is_open()) return;
    socket_.async_wait(tcp::socket::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        if (!error) self->on_readable();
    });
}

void Connection::on_readable() {
    std::size_t taken = read_buffer().size();
    for (int reads = 0; reads < reads_per_turn && taken == read_buffer().size(); ++reads)
        if (reading_held_ || !read_some(taken)) return;
    if (!reading_held_) wait_readable();
}

/// One read. False when the connection ended; `taken` is below the buffer's size when there is no more for
/// now.
bool Connection::read_some(std::size_t& taken) {
    asio::error_code error;
    auto& buffer = read_buffer();
    taken = socket_.read_some(asio::buffer(buffer), error);
    if (would_block(error)) {
        taken = 0;
        return true;
    }
    if (error) {
        abandon(error == asio::error::eof ? "closed by the peer" : error.message());
        return false;
    }
    if (up_) take_in({buffer.data(), taken});
    return socket_.is_open();
}

void Connection::drain() {
    std::size_t taken = 0;
    std::size_t total = 0;
    do {
        if (!read_some(taken)) return;
        total += taken;
    } while (taken > 0 && total < drain_limit);
}

void Connection::take_in(std::string_view bytes) {
    Message message;
    for (;;) {
        const Framer::Result result = framer_.next(bytes, message);
        if (result == Framer::Result::need_more) break;
        if (result == Framer::Result::bad_length)
            return fail("impossible message length " + std::to_string(framer_.announced_length()));
        handle(message);
        if (!up_) return;
    }
    const bool inside = framer_.inside_message();
    if (inside || inside_message_) {
        {
            const Lock lock(session_mutex_);
            session_.inside_message(inside, now());
        }
        inside_message_ = inside;
        arm_timer();
    }
}

void Connection::handle(Message& message) {
    Actions actions;
    {
        const Lock lock(session_mutex_);
        actions = session_.received(message.header, message.body.size(), now());
    }
    perform(actions, &message);
}

void Connection::perform(Actions& actions, Message* message) {
    bool sent = true;
    for (const Header& header : actions.send) sent = outbox_->write(header, {}) && sent;
    if (!actions.note.empty()) events_.log(actions.note);
    if (actions.selected) {
        events_.state_changed(SessionState::selected);
        lane_->push({LaneEvent::Kind::selected, {}, {}});
    }
    if (actions.deselected) {
        events_.state_changed(SessionState::not_selected);
        lane_->push({LaneEvent::Kind::deselected, {}, {}});
    }
    for (const std::uint32_t id : actions.reply_timeouts) {
        Header header;
        header.system = id;
        lane_->push({LaneEvent::Kind::reply_timeout, header, {}});
    }
    if (actions.deliver && message != nullptr &&
        !lane_->push({LaneEvent::Kind::message, message->header, std::move(message->body)})) {
        reading_held_ = true;
        {
            const Lock lock(session_mutex_);
            session_.hold(true, now());
        }
        watch_hold();
    }
    if (!actions.close.empty()) return fail(actions.close);
    if (sent) arm_timer();
}

void Connection::resume() {
    if (!reading_held_ || lane_->full()) return;
    reading_held_ = false;
    hold_timer_.cancel();
    {
        const Lock lock(session_mutex_);
        session_.hold(false, now());
    }
    arm_timer();
    wait_readable();
}

/// While reading is held a peer that went away is not noticed. A callback that has not ended within T6 with
/// a full queue will not let it empty soon, so the connection ends.
void Connection::watch_hold() {
    hold_timer_.expires_after(hold_patience_);
    hold_timer_.async_wait(
        [self = shared_from_this(), callback = lane_->current_callback()](const asio::error_code& error) {
            if (error || !self->reading_held_ || !self->up_) return;
            if (!self->lane_->full()) return self->resume();  // the lane had no memory to say so
            if (self->lane_->current_callback() == callback)
                self->fail("callback queue full and its callback does not end");
            else
                self->watch_hold();
        });
}

// ---- sending

std::uint32_t Connection::send(std::uint8_t stream, std::uint8_t function, bool wbit, std::string_view body) {
    std::optional<Header> header;
    bool arm = false;
    {
        const Lock lock(session_mutex_);
        header = session_.send_primary(stream, function, wbit, now());
        arm = needs_arming();
    }
    if (!header) return 0;
    if (arm) asio::post(io_, [self = shared_from_this()] { self->arm_timer(); });
    return outbox_->write(*header, body) ? header->system : 0;
}

bool Connection::reply(std::uint8_t stream, std::uint8_t function, std::string_view body,
                       std::uint32_t system) {
    std::optional<Header> header;
    {
        const Lock lock(session_mutex_);
        header = session_.send_reply(stream, function, system);
    }
    return header && outbox_->write(*header, body);
}

bool Connection::end_transaction(std::uint32_t id) {
    const Lock lock(session_mutex_);
    return session_.end_transaction(id);
}

void Connection::deselect() {
    const Lock lock(session_mutex_);
    post_perform(session_.request_deselect(now()));
}

void Connection::linktest() {
    const Lock lock(session_mutex_);
    post_perform(session_.request_linktest(now()));
}

void Connection::post_perform(Actions actions) {
    asio::post(io_, [self = shared_from_this(), actions = std::move(actions)]() mutable {
        if (self->up_) self->perform(actions, nullptr);
    });
}

std::uint32_t Connection::next_id() const {
    const Lock lock(session_mutex_);
    return session_.next_id();
}

// ---- timers

/// Under the session mutex.
bool Connection::needs_arming() const {
    const auto deadline = session_.next_deadline();
    return deadline && *deadline < armed_until_;
}

/// One timer for all deadlines. It is only ever moved to an earlier time; when it runs out too early it looks
/// for the next deadline, so that a deadline per message costs nothing.
void Connection::arm_timer() {
    if (!up_) return;
    {
        const Lock lock(session_mutex_);
        if (!needs_arming()) return;
        armed_until_ = *session_.next_deadline();
    }
    timer_.expires_at(armed_until_);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (!error) self->on_timer();
    });
}

void Connection::on_timer() {
    if (!up_) return;
    Actions actions;
    {
        const Lock lock(session_mutex_);
        armed_until_ = Time::max();
        actions = session_.timer(now());
    }
    perform(actions, nullptr);
}

// ---- the end

void Connection::separate() {
    if (!up_) return;
    Actions actions;
    {
        const Lock lock(session_mutex_);
        actions = session_.request_separate();
    }
    perform(actions, nullptr);
}

void Connection::abandon(const std::string& reason) {
    go_down(reason);
    close_socket();
}

/// Ends a connection whose socket still works.
void Connection::fail(const std::string& reason) {
    if (!up_) return;
    go_down(reason);
    linger();
}

void Connection::go_down(const std::string& reason) {
    if (!std::exchange(up_, false)) return;
    framer_ = Framer(max_message_length_);  // what came of a message goes
    outbox_->stop();  // first: a sender that the session refuses finds that nothing can be sent any more
    {
        const Lock lock(session_mutex_);
        session_.disconnected();
    }
    timer_.cancel();
    hold_timer_.cancel();
    try {
        events_.log("connection with " + peer_ + " closed: " + reason);
    } catch (const std::bad_alloc&) {  // only this line is lost
    }
    events_.down();
}

/// Sends what is left, then waits for the peer to close: closing with unread input would make the peer's TCP
/// throw away what it has not read yet.
void Connection::linger() {
    if (!socket_.is_open()) return;
    linger_timer_.expires_after(linger_time);
    linger_timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (!error) self->close_socket();
    });
    outbox_->finish();
    if (std::exchange(reading_held_, false)) wait_readable();
}

void Connection::close_socket() {
    if (!socket_.is_open()) return;
    linger_timer_.cancel();
    outbox_->close();
    events_.gone();
}

}  // namespace hsms
