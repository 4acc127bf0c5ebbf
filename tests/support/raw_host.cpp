#include "support/raw_host.h"

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

std::string big_endian(std::uint32_t value, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
    return text;
}

}  // namespace

std::string frame(unsigned session, unsigned byte2, unsigned byte3, unsigned p_type, unsigned s_type,
                  std::uint32_t system, const std::string& body) {
    return big_endian(static_cast<std::uint32_t>(10 + body.size()), 4) + big_endian(session, 2) +
           big_endian(byte2, 1) + big_endian(byte3, 1) + big_endian(p_type, 1) + big_endian(s_type, 1) +
           big_endian(system, 4) + body;
}

std::string select_req(std::uint32_t system) {
    return frame(0xFFFF, 0, 0, 0, 1, system);
}
std::string linktest_req(std::uint32_t system) {
    return frame(0xFFFF, 0, 0, 0, 5, system);
}

std::string data(int stream, int function, std::uint32_t system, const std::string& body) {
    const unsigned wbit = (function & 1) != 0 ? 0x80U : 0U;
    return frame(0, static_cast<unsigned>(stream) | wbit, static_cast<unsigned>(function), 0, 0, system,
                 body);
}

RawHost::RawHost(std::uint16_t port) : socket_(io_) {
    socket_.connect({asio::ip::address_v4::loopback(), port});
    socket_.set_option(asio::ip::tcp::no_delay(true));
}

RawHost::~RawHost() {
    close();
}

bool RawHost::send(const std::string& bytes) {
    std::error_code error;
    asio::write(socket_, asio::buffer(bytes), error);
    return !error;
}

bool RawHost::read(std::size_t bytes, std::string& out, Clock::time_point deadline) {
    out.resize(bytes);
    std::error_code result = asio::error::would_block;
    asio::async_read(socket_, asio::buffer(out), [&](std::error_code error, std::size_t) { result = error; });
    io_.restart();
    io_.run_until(deadline);
    timed_out_ = result == asio::error::would_block;
    if (timed_out_) {
        socket_.cancel();
        io_.restart();
        io_.run();
    }
    return !result;
}

std::optional<RawMessage> RawHost::receive(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::string length;
    RawMessage message;
    if (!read(4, length, deadline)) return std::nullopt;
    std::size_t bytes = 0;
    for (const char c : length) bytes = bytes << 8U | static_cast<unsigned char>(c);
    if (bytes < 10 || !read(10, message.header, deadline)) return std::nullopt;
    if (bytes > 10 && !read(bytes - 10, message.body, deadline)) return std::nullopt;
    return message;
}

int RawHost::select() {
    if (!send(select_req())) return -1;
    const auto answer = receive();
    if (!answer || answer->s_type() != 2) return -1;
    return static_cast<unsigned char>(answer->header[3]);
}

void RawHost::answer(const RawMessage& primary) {
    const auto is = [&](int stream, int function) {
        return primary.stream() == stream && primary.function() == function;
    };
    std::string body("\x21\x01\x00", 3);
    if (is(1, 13)) body = std::string("\x01\x02\x21\x01\x00\x01\x00", 7);
    if (is(1, 1)) body = std::string("\x01\x00", 2);
    if (is(2, 17))
        body =
            "\x41\x10"
            "2026010112000000";
    std::string answer = data(primary.stream(), primary.function() + 1, 0, body);
    answer.replace(10, 4, primary.header.substr(6));
    send(answer);
}

std::optional<RawMessage> RawHost::reply_to(std::uint32_t system) {
    const std::string wanted = big_endian(system, 4);
    for (auto message = receive(); message; message = receive()) {
        if (message->header.substr(6) == wanted) return message;
        if (message->is_primary() && message->wbit()) answer(*message);
    }
    return std::nullopt;
}

bool RawHost::closed_by_peer() {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    std::string byte;
    while (read(1, byte, deadline)) {
    }
    return !timed_out_;
}

void RawHost::close(bool reset) {
    std::error_code ignored;
    if (reset) socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    socket_.close(ignored);
}

}  // namespace support
