#include "support/host.h"

#include <stdexcept>

#include "apps/host/link/auto_reply.h"
#include "hsms/core/item_codec.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace support {

namespace {

std::string encoded(const hsms::Header& header, const std::string& body) {
    const hsms::HeaderBytes head = hsms::encode_header(header, body.size());
    return std::string(head.data(), head.size()) + body;
}

sml::Message decoded(const hsms::Message& raw) {
    sml::Message message{raw.header.stream(), raw.header.function(), raw.header.wbit(), {}};
    if (!raw.body.empty()) hsms::decode_item(raw.body, message.body.emplace());
    return message;
}

Host::Messages automatic(const sml::Message& primary) {
    const auto reply = host::automatic_reply(primary, "2026010112000000");
    return reply ? Host::Messages{*reply} : Host::Messages{};
}

}  // namespace

std::string frame(unsigned session, unsigned byte2, unsigned byte3, unsigned p_type, unsigned s_type,
                  std::uint32_t system, const std::string& body) {
    const auto byte = [](unsigned value) { return static_cast<std::uint8_t>(value); };
    return encoded(
        {static_cast<std::uint16_t>(session), byte(byte2), byte(byte3), byte(p_type), byte(s_type), system},
        body);
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

Host::Host(std::uint16_t port, const std::string& from) : answers(automatic), socket_(io_) {
    socket_.open(asio::ip::tcp::v4());
    socket_.bind({asio::ip::make_address(from), 0});
    socket_.connect({asio::ip::address_v4::loopback(), port});
    socket_.set_option(asio::ip::tcp::no_delay(true));
}

Host::Host(asio::ip::tcp::acceptor& acceptor) : answers(automatic), socket_(io_) {
    acceptor.accept(socket_);
}

bool Host::send(const std::string& bytes) {
    std::error_code error;
    asio::write(socket_, asio::buffer(bytes), error);
    return !error;
}

void Host::send(const sml::Message& message, std::uint32_t system) {
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    send(encoded(hsms::data_header(0, message.stream, message.function, message.wbit, system), body));
}

bool Host::read(std::size_t size, std::string& out, Clock::time_point deadline) {
    out.resize(size);
    std::error_code result = asio::error::would_block;
    std::size_t done = 0;
    asio::async_read(socket_, asio::buffer(out), [&](std::error_code error, std::size_t n) {
        result = error;
        done = n;
    });
    io_.restart();
    io_.run_until(deadline);
    timed_out_ = result == asio::error::would_block;
    if (timed_out_) {
        socket_.cancel();
        io_.restart();
        io_.run();
    }
    out.resize(done);
    return !result;
}

std::string Host::receive_bytes(std::size_t size, std::chrono::milliseconds limit) {
    std::string bytes;
    read(size, bytes, Clock::now() + limit);
    return bytes;
}

std::optional<hsms::Message> Host::receive(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::string head;
    if (!read(hsms::length_size + hsms::header_size, head, deadline)) return std::nullopt;
    std::size_t size = 0;
    for (std::size_t i = 0; i < hsms::length_size; ++i)
        size = size << 8U | static_cast<unsigned char>(head[i]);
    hsms::Message message{hsms::decode_header(head.data() + hsms::length_size), {}};
    if (size > hsms::header_size && !read(size - hsms::header_size, message.body, deadline))
        return std::nullopt;
    return message;
}

int Host::select() {
    if (!send(select_req())) return -1;
    const auto answer = receive();
    return answer && answer->header.type() == hsms::SType::select_rsp ? answer->header.byte3 : -1;
}

void Host::communicate() {
    if (select() != 0) throw std::runtime_error("the equipment refused the select");
    ask("S1F13 W <L>.");
}

bool Host::closed_by_peer() {
    const auto deadline = Clock::now() + patience;
    std::string byte;
    while (read(1, byte, deadline)) {
    }
    return !timed_out_;
}

void Host::close(bool reset) {
    std::error_code ignored;
    if (reset) socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    socket_.close(ignored);
}

std::optional<hsms::Message> Host::take(Clock::time_point deadline) {
    auto received = receive(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()));
    if (!received || received->header.type() != hsms::SType::data) return received;
    const hsms::Header& header = received->header;
    if (header.function() % 2 == 0) return received;
    kept_.push_back({decoded(*received), Clock::now()});
    for (const sml::Message& answer : answers(kept_.back().message))
        send(answer, answer.function % 2 == 0 ? header.system : ++system_);
    return received;
}

std::optional<sml::Message> Host::reply_to(std::uint32_t system) {
    const auto deadline = Clock::now() + patience;
    while (const auto message = take(deadline))
        if (message->header.type() == hsms::SType::data && message->header.system == system &&
            message->header.function() % 2 == 0)
            return decoded(*message);
    return std::nullopt;
}

std::string Host::ask(const std::string& sml) {
    const std::uint32_t system = ++system_;
    send(sml::parse_message(sml), system);
    const auto reply = reply_to(system);
    if (!reply) throw std::runtime_error("no reply to " + sml);
    return sml::one_line(*reply, 100'000);
}

std::optional<Host::Received> Host::next_primary(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (kept_.empty())
        if (!take(deadline)) return std::nullopt;
    Received first = std::move(kept_.front());
    kept_.pop_front();
    return first;
}

Host::Received Host::next(int stream, int function, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (auto received =
               next_primary(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now())))
        if (received->message.stream == stream && received->message.function == function) return *received;
    throw std::runtime_error("no S" + std::to_string(stream) + "F" + std::to_string(function) + " came");
}

}  // namespace support
