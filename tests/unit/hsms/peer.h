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
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"
#include "hsms/link/link.h"

namespace hsms {

inline constexpr std::chrono::seconds test_patience{20};

/// A blocking TCP client.
class Peer {
  public:
    explicit Peer(std::uint16_t port) : socket_(io_) {
        socket_.connect({asio::ip::address_v4::loopback(), port});
    }
    explicit Peer(asio::ip::tcp::acceptor& acceptor) : socket_(io_) { acceptor.accept(socket_); }

    void send(const std::string& text) { asio::write(socket_, asio::buffer(bytes(text))); }
    void send_raw(const std::string& data) { asio::write(socket_, asio::buffer(data)); }

    /// The next `size` bytes in hex; what came before the end when the connection ended.
    std::string receive(std::size_t size) {
        std::string data(size, '\0');
        asio::error_code error;
        data.resize(asio::read(socket_, asio::buffer(data), error));
        return to_hex(data);
    }
    /// Everything until the connection ends.
    std::string receive_to_end() {
        std::string data;
        asio::error_code error;
        asio::read(socket_, asio::dynamic_buffer(data), error);
        return to_hex(data);
    }
    void select() {
        send("00 00 00 0A FF FF 00 00 00 01 00 00 00 01");
        receive(14);
    }
    void close() { socket_.close(); }
    asio::ip::tcp::socket& socket() { return socket_; }

  private:
    asio::io_context io_;
    asio::ip::tcp::socket socket_;
};

/// Keeps the names of callbacks in order.
class Record {
  public:
    void add(const std::string& what) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(what);
        changed_.notify_all();
    }
    /// Waits until `count` entries came; all entries.
    std::vector<std::string> wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, test_patience, [&] { return entries_.size() >= count; });
        return entries_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> entries_;
};

using Entries = std::vector<std::string>;

inline LinkCallbacks recording(Record& record) {
    return {
        .on_selected = [&record] { record.add("selected"); },
        .on_deselected = [&record] { record.add("deselected"); },
        .on_closed = [&record] { record.add("closed"); },
        .on_message =
            [&record](const Header& header, std::string&& body) {
                record.add("S" + std::to_string(header.stream()) + "F" + std::to_string(header.function()) +
                           " " + to_hex(body));
            },
        .on_reply_timeout = [&record](std::uint32_t id) { record.add("timeout " + std::to_string(id)); },
    };
}

inline LinkOptions passive_options() {
    LinkOptions options;
    options.port = 0;
    return options;
}

}  // namespace hsms
