#include "hsms/link/link.h"

#include <asio/ip/address.hpp>
#include <mutex>
#include <utility>

#include "hsms/link/link_core.h"
#include "hsms/link/thread_reaper.h"

namespace hsms {

bool is_address(const std::string& text) {
    asio::error_code error;
    asio::ip::make_address(text, error);
    return !error;
}

std::string_view to_text(LinkState state) {
    switch (state) {
        case LinkState::stopped: return "stopped";
        case LinkState::listening: return "listening";
        case LinkState::connecting: return "connecting";
        case LinkState::connected: return "connected";
        case LinkState::selected: return "selected";
    }
    return "unknown";
}

Link::Link(LinkOptions options, LinkCallbacks callbacks)
    : options_(std::move(options)), callbacks_(std::make_shared<const LinkCallbacks>(std::move(callbacks))) {}

Link::~Link() {
    if (const auto core = end()) core->mute();
    if (last_lane_) last_lane_->mute();
}

std::shared_ptr<LinkCore> Link::core() const {
    const std::lock_guard lock(mutex_);
    return core_;
}

std::pair<std::shared_ptr<LinkCore>, std::shared_ptr<Connection>> Link::live() const {
    auto running = core();
    auto connection = running ? running->connection() : nullptr;
    return {std::move(running), std::move(connection)};  // the connection goes first
}

bool Link::on_callback_thread() const {
    const CallbackLane* lane = CallbackLane::current();
    return lane != nullptr && lane->belongs_to(*callbacks_);
}

bool Link::start() {
    const std::lock_guard lock(mutex_);
    if (core_) return false;
    core_ = std::make_shared<LinkCore>(options_, callbacks_, last_lane_);
    const bool started = core_->start();
    if (!core_->running()) core_ = nullptr;
    return started;
}

void Link::stop() {
    end();
}

/// Stops the running core, if any, and returns it.
std::shared_ptr<LinkCore> Link::end() {
    auto ending = core();
    if (!ending) return nullptr;
    ending->begin_stop();
    if (!on_callback_thread()) ending->wait_stopped();
    reap_threads();
    const std::lock_guard lock(mutex_);
    if (core_ == ending) {
        options_.first_id = ending->next_id();
        last_lane_ = ending->last_lane();
        core_ = nullptr;
    }
    return ending;
}

LinkState Link::state() const {
    const auto core = this->core();
    return core ? core->state() : LinkState::stopped;
}

std::uint16_t Link::port() const {
    const auto core = this->core();
    return core ? core->port() : options_.port;
}

std::string Link::peer() const {
    const auto core = this->core();
    return core ? core->peer() : std::string();
}

std::uint32_t Link::next_id() const {
    if (const auto core = this->core()) return core->next_id();
    const std::lock_guard lock(mutex_);
    return options_.first_id;
}

std::uint32_t Link::send(std::uint8_t stream, std::uint8_t function, bool wbit, std::string_view body) {
    const auto [core, connection] = live();
    return connection ? connection->send(stream, function, wbit, body) : 0;
}

void Link::await_close() {
    if (on_callback_thread()) return;
    const auto [core, connection] = live();
    if (!core) return;
    // The peer may be back before the close of its last connection was delivered.
    const bool up = connection && connection->writable();
    if (const auto lane = up ? core->ended_lane() : core->last_lane())
        lane->wait_closed_delivered(Milliseconds(2000));
}

bool Link::await_selected(Milliseconds limit) {
    const auto core = this->core();
    return core && core->await_selected(on_callback_thread() ? Milliseconds(0) : limit);
}

bool Link::reply(std::uint8_t stream, std::uint8_t function, std::string_view body, std::uint32_t system) {
    const auto [core, connection] = live();
    if (!connection) return false;
    // The answer to a message of an earlier connection must not reach the peer of this one.
    if (on_callback_thread() && CallbackLane::current() != connection->lane().get()) return false;
    return connection->reply(stream, function, body, system);
}

bool Link::end_transaction(std::uint32_t id) {
    const auto [core, connection] = live();
    return connection && connection->end_transaction(id);
}

void Link::deselect() {
    if (const auto [core, connection] = live(); connection) connection->deselect();
}

void Link::linktest() {
    if (const auto [core, connection] = live(); connection) connection->linktest();
}

void Link::separate() {
    if (const auto core = this->core()) core->separate();
}

}  // namespace hsms
