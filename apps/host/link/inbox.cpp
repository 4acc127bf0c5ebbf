#include "apps/host/link/inbox.h"

#include <algorithm>
#include <utility>

#include "hsms/core/item_codec.h"

namespace host {

Received decode(const hsms::Header& header, const std::string& body) {
    Received received{{header.stream(), header.function(), header.wbit(), std::nullopt}, header.system, ""};
    if (body.empty()) return received;
    hsms::Item item;
    if (const hsms::DecodeResult result = hsms::decode_item(body, item))
        received.message.body = std::move(item);
    else
        received.defect = "body of " + std::to_string(body.size()) + " bytes: " + hsms::describe(result);
    return received;
}

void Inbox::keep(Received received) {
    if (all_.size() == most_kept) all_.pop_front();
    all_.push_back(std::move(received));
}

std::optional<Received> Inbox::take_if(const std::function<bool(const Received&)>& wanted) {
    const auto found = std::find_if(all_.begin(), all_.end(), wanted);
    if (found == all_.end()) return std::nullopt;
    Received taken = std::move(*found);
    all_.erase(found);
    return taken;
}

std::optional<Received> Inbox::take(std::uint8_t stream, std::uint8_t function) {
    return take_if([&](const Received& received) {
        return received.message.stream == stream && received.message.function == function;
    });
}

std::optional<Received> Inbox::take(std::uint32_t id) {
    return take_if([&](const Received& received) { return received.id == id; });
}

std::optional<Received> Inbox::take_any() {
    return take_if([](const Received& /*received*/) { return true; });
}

}  // namespace host
