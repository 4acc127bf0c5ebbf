// The other end of a link in tests: a plain socket on loopback that speaks in hand-written bytes, and a
// recorder of callbacks that can be awaited.
#pragma once

#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <condition_variable>
#include <mutex>
#include <sys/resource.h>
#include <vector>

#include "hsms/link/link.h"
#include "tests/support/bytes.h"

namespace hsms {

/// A blocking TCP client.
class Peer {
  public:
    /// `from` is an address of 127/8; to its peer that is another machine.
    explicit Peer(std::uint16_t port, const std::string& from = "127.0.0.1") : socket_(io_) {
        socket_.open(asio::ip::tcp::v4());
        socket_.bind({asio::ip::make_address(from), 0});
        socket_.connect({asio::ip::address_v4::loopback(), port});
    }
    explicit Peer(asio::ip::tcp::acceptor& acceptor) : socket_(io_) { acceptor.accept(socket_); }

    void send(const std::string& text) { send_raw(bytes(text)); }
    void send_raw(const std::string& data) { asio::write(socket_, asio::buffer(data)); }

    /// The next `size` bytes; what came before the end when the connection ended.
    std::string receive_raw(std::size_t size) {
        std::string data(size, '\0');
        asio::error_code error;
        data.resize(asio::read(socket_, asio::buffer(data), error));
        return data;
    }
    std::string receive(std::size_t size) { return to_hex(receive_raw(size)); }
    /// Everything until the connection ends, at most a megabyte.
    std::string receive_to_end() { return receive(1'000'000); }
    /// Sends, and takes an answer without a body.
    std::string ask(const std::string& text) {
        send(text);
        return receive(14);
    }
    void select() { ask("00 00 00 0A FF FF 00 00 00 01 00 00 00 01"); }
    void close() { socket_.close(); }

  private:
    asio::io_context io_;
    asio::ip::tcp::socket socket_;
};

/// While it lives the process has no more of a resource than this.
class Limit {
  public:
    Limit(__rlimit_resource_t resource, std::size_t size) : resource_(resource) {
        getrlimit(resource, &usual_);
        const rlimit limit{size, usual_.rlim_max};
        setrlimit(resource, &limit);
    }
    ~Limit() { setrlimit(resource_, &usual_); }

  private:
    __rlimit_resource_t resource_;
    rlimit usual_{};
};

using Entries = std::vector<std::string>;

/// Keeps the names of callbacks in order.
class Record {
  public:
    void add(const std::string& what) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(what);
        changed_.notify_all();
    }
    /// Waits until `count` entries came; all entries.
    Entries wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return entries_.size() >= count; });
        return entries_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Entries entries_;
};

}  // namespace hsms
