#include "bench/echo_server.h"

#include <array>
#include <asio/buffer.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "bench/serve.h"
#include "hsms/core/header.h"
#include "hsms/core/wire.h"

namespace bench {
namespace {

using asio::ip::tcp;

/// One message handed from thread to thread; an empty one ends the receiving thread.
class HandOff {
  public:
    void give(std::string message) {
        {
            const std::lock_guard lock(mutex_);
            message_ = std::move(message);
        }
        given_.notify_one();
    }
    std::string take() {
        std::unique_lock lock(mutex_);
        given_.wait(lock, [this] { return message_.has_value(); });
        std::string message = std::move(*message_);
        message_.reset();
        return message;
    }

  private:
    std::mutex mutex_;
    std::condition_variable given_;
    std::optional<std::string> message_;
};

struct Sizes {
    std::size_t request;
    std::size_t reply;
};

constexpr std::size_t smallest = hsms::length_size + hsms::header_size;
constexpr std::size_t system_bytes = smallest - 4;

/// `size` bytes in the shape of an HSMS message with the request's system bytes.
std::string make_reply(std::string_view request, std::size_t size) {
    std::string reply(size, '\0');
    hsms::store_big_endian(reply.data(), size - hsms::length_size, hsms::length_size);
    std::memcpy(reply.data() + system_bytes, request.data() + system_bytes, 4);
    return reply;
}

void work(HandOff& requests, HandOff& replies, std::size_t reply_size) {
    for (;;) {
        const std::string request = requests.take();
        if (request.empty()) return;
        replies.give(make_reply(request, reply_size));
    }
}

Sizes read_sizes(tcp::socket& socket) {
    std::array<char, 8> bytes{};
    asio::read(socket, asio::buffer(bytes));
    return {hsms::load_big_endian(bytes.data(), 4), hsms::load_big_endian(bytes.data() + 4, 4)};
}

void serve_echo(tcp::socket& socket) {
    socket.set_option(tcp::no_delay(true));
    const Sizes sizes = read_sizes(socket);
    if (sizes.request < smallest || sizes.reply < smallest) return;

    HandOff requests;
    HandOff replies;
    std::thread worker([&] { work(requests, replies, sizes.reply); });
    asio::error_code error;
    while (!error) {
        std::string request(sizes.request, '\0');
        asio::read(socket, asio::buffer(request), error);
        if (error) break;
        requests.give(std::move(request));
        asio::write(socket, asio::buffer(replies.take()), error);
    }
    requests.give({});
    worker.join();
}

}  // namespace

void run_echo_server() {
    serve([](tcp::socket socket) { serve_echo(socket); });
}

}  // namespace bench
