#include "hsms/link/outbox.h"

#include <array>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <new>
#include <utility>

namespace hsms {
namespace {

// A buffer that has grown beyond this is given back once it is empty.
constexpr std::size_t kept_buffer = std::size_t{1} << 20U;

bool would_block(const asio::error_code& error) {
    return error == asio::error::would_block || error == asio::error::try_again;
}

}  // namespace

Outbox::Outbox(asio::io_context& io, asio::ip::tcp::socket socket, std::size_t max_waiting)
    : io_(io), socket_(std::move(socket)), max_waiting_(max_waiting) {}

bool Outbox::write(const Header& header, std::string_view body) {
    const Lock lock(mutex_);
    if (!writable_) return false;
    const HeaderBytes head = encode_header(header, body.size());
    const std::size_t waiting = unsent_.size() - unsent_begin_;
    std::size_t sent = 0;
    if (waiting == 0) {
        const std::array<asio::const_buffer, 2> buffers{asio::buffer(head),
                                                        asio::buffer(body.data(), body.size())};
        asio::error_code error;
        sent = socket_.write_some(buffers, error);
        if (error && !would_block(error)) {
            writable_ = false;  // the reading side meets the same error after what the peer still sent
            return false;
        }
        if (error) sent = 0;
    }
    if (waiting > max_waiting_) return give_up("the peer does not read: send buffer full");
    if (sent == head.size() + body.size()) return true;
    try {
        keep({head.data(), head.size()}, body, sent);
    } catch (const std::bad_alloc&) {
        return give_up("out of memory for what the peer does not read yet");
    }
    return true;
}

bool Outbox::give_up(const char* reason) {
    writable_ = false;
    asio::post(io_, [self = shared_from_this(), reason] { self->broken_(reason); });
    return false;
}

void Outbox::keep(std::string_view head, std::string_view body, std::size_t sent) {
    if (unsent_begin_ > unsent_.size() / 2) {
        unsent_.erase(0, unsent_begin_);
        unsent_begin_ = 0;
    }
    if (sent < head.size()) unsent_.append(head.substr(sent));
    unsent_.append(body.substr(sent > head.size() ? sent - head.size() : 0));
    if (!std::exchange(waiting_, true))
        asio::post(io_, [self = shared_from_this()] { self->wait_writable(); });
}

void Outbox::wait_writable() {
    if (!socket_.is_open()) return;
    using asio::ip::tcp;
    socket_.async_wait(tcp::socket::wait_write, [self = shared_from_this()](const asio::error_code& error) {
        if (!error) self->on_writable();
    });
}

void Outbox::on_writable() {
    Lock lock(mutex_);
    asio::error_code error;
    while (unsent_begin_ < unsent_.size() && !error)
        unsent_begin_ += socket_.write_some(asio::buffer(unsent_) + unsent_begin_, error);
    if (would_block(error)) {
        lock.unlock();
        return wait_writable();
    }
    unsent_begin_ = 0;
    waiting_ = false;
    unsent_.clear();
    if (unsent_.capacity() > kept_buffer) unsent_.shrink_to_fit();
    if (error) writable_ = false;
    lock.unlock();
    if (finishing_) shut_down();
}

bool Outbox::writable() {
    const Lock lock(mutex_);
    return writable_;
}

void Outbox::stop() {
    const Lock lock(mutex_);
    writable_ = false;
}

void Outbox::finish() {
    finishing_ = true;
    bool all_sent = false;
    {
        const Lock lock(mutex_);
        all_sent = !waiting_;
    }
    if (all_sent) shut_down();
}

void Outbox::shut_down() {
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Outbox::close() {
    const Lock lock(mutex_);
    asio::error_code ignored;
    socket_.close(ignored);
    writable_ = false;
}

}  // namespace hsms
