#include "support/sml_host.h"

#include <stdexcept>

#include "hsms/core/item_codec.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds until(Clock::time_point deadline) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
}

sml::Message to_message(const RawMessage& raw) {
    sml::Message message;
    message.stream = static_cast<std::uint8_t>(raw.stream());
    message.function = static_cast<std::uint8_t>(raw.function());
    message.wbit = raw.wbit();
    if (!raw.body.empty()) hsms::decode_item(raw.body, message.body.emplace());
    return message;
}

}  // namespace

SmlHost::SmlHost(std::uint16_t port) : raw_(port) {
    if (raw_.select() != 0) throw std::runtime_error("the equipment refused the select");
    ask("S1F13 W <L>.");
}

bool SmlHost::pump(std::chrono::milliseconds limit, RawMessage& message) {
    auto received = raw_.receive(limit);
    if (!received) return false;
    message = std::move(*received);
    if (!message.is_primary()) return true;
    kept_.push_back({to_message(message), Clock::now()});
    if (message.wbit()) raw_.answer(message);
    return true;
}

std::string SmlHost::ask(const std::string& sml) {
    const sml::Message primary = sml::parse_message(sml);
    std::string body;
    if (primary.body) hsms::encode_item(*primary.body, body);
    const std::string bytes = data(primary.stream, primary.function, ++system_, body);
    raw_.send(bytes);
    const std::string wanted = bytes.substr(10, 4);
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    RawMessage message;
    while (pump(until(deadline), message))
        if (message.s_type() == 0 && !message.is_primary() && message.header.substr(6) == wanted)
            return sml::one_line(to_message(message), 100'000);
    throw std::runtime_error("no reply to " + sml);
}

std::optional<SmlHost::Received> SmlHost::next_primary(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    RawMessage message;
    while (kept_.empty())
        if (!pump(until(deadline), message)) return std::nullopt;
    Received first = std::move(kept_.front());
    kept_.pop_front();
    return first;
}

SmlHost::Received SmlHost::next(int stream, int function, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (auto received = next_primary(until(deadline)))
        if (received->message.stream == stream && received->message.function == function) return *received;
    throw std::runtime_error("no S" + std::to_string(stream) + "F" + std::to_string(function) + " came");
}

}  // namespace support
