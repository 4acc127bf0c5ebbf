#include "hsms/link/link.h"

#include <asio/ip/address.hpp>
#include <mutex>
#include <utility>

#include "hsms/link/link_core.h"
#include "hsms/link/thread_reaper.h"

namespace hsms {

namespace {

/// The connection that is up (may be null), and what it runs on, kept alive for one call.
struct Live {
    std::shared_ptr<LinkCore> core;
    std::shared_ptr<Connection> connection;  // goes first
};

}  // namespace

class Link::Impl {
  public:
    Impl(LinkOptions options, LinkCallbacks callbacks)
        : options_(std::move(options)),
          callbacks_(std::make_shared<const LinkCallbacks>(std::move(callbacks))) {}

    bool start() {
        const std::lock_guard lock(mutex_);
        if (core_) return false;
        core_ = std::make_shared<LinkCore>(options_, callbacks_, last_lane_);
        return core_->start();
    }

    /// Ends what was started and returns it.
    std::shared_ptr<LinkCore> stop() {
        auto core = this->core();
        if (!core) return nullptr;
        core->begin_stop();
        if (!on_callback_thread()) core->wait_stopped();
        reap_threads();
        const std::lock_guard lock(mutex_);
        if (core_ == core) {
            options_.first_id = core->next_id();
            last_lane_ = core->last_lane();
            core_ = nullptr;
        }
        return core;
    }

    std::shared_ptr<LinkCore> core() const {
        const std::lock_guard lock(mutex_);
        return core_;
    }

    Live live() const {
        auto running = core();
        auto connection = running ? running->connection() : nullptr;
        return {std::move(running), std::move(connection)};
    }

    bool on_callback_thread() const {
        const CallbackLane* lane = CallbackLane::current();
        return lane != nullptr && lane->belongs_to(*callbacks_);
    }

    std::uint16_t configured_port() const { return options_.port; }

    std::uint32_t first_id() const {
        const std::lock_guard lock(mutex_);
        return options_.first_id;
    }

    void mute_last_lane() {
        const std::lock_guard lock(mutex_);
        if (last_lane_) last_lane_->mute();
    }

  private:
    LinkOptions options_;
    const std::shared_ptr<const LinkCallbacks> callbacks_;
    mutable std::mutex mutex_;
    std::shared_ptr<LinkCore> core_;
    std::shared_ptr<CallbackLane> last_lane_;
};

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
    : impl_(std::make_unique<Impl>(std::move(options), std::move(callbacks))) {}

Link::~Link() {
    if (const auto core = impl_->stop()) core->mute();
    impl_->mute_last_lane();
}

bool Link::start() {
    return impl_->start();
}

void Link::stop() {
    impl_->stop();
}

LinkState Link::state() const {
    const auto core = impl_->core();
    return core ? core->state() : LinkState::stopped;
}

std::uint16_t Link::port() const {
    const auto core = impl_->core();
    return core ? core->port() : impl_->configured_port();
}

std::string Link::peer() const {
    const auto core = impl_->core();
    return core ? core->peer() : std::string();
}

std::uint32_t Link::next_id() const {
    const auto core = impl_->core();
    return core ? core->next_id() : impl_->first_id();
}

std::uint32_t Link::send(std::uint8_t stream, std::uint8_t function, bool wbit, std::string_view body) {
    const auto [core, connection] = impl_->live();
    return connection ? connection->send(stream, function, wbit, body) : 0;
}

void Link::await_close() {
    if (impl_->on_callback_thread()) return;
    const auto [core, connection] = impl_->live();
    if (!core) return;
    // The peer may be back before the close of its last connection was delivered.
    const bool stands = connection && connection->stands();
    if (const auto lane = stands ? core->ended_lane() : core->last_lane())
        lane->wait_closed_delivered(Milliseconds(2000));
}

bool Link::await_selected(Milliseconds limit) {
    const auto core = impl_->core();
    return core && core->await_selected(impl_->on_callback_thread() ? Milliseconds(0) : limit);
}

bool Link::reply(std::uint8_t stream, std::uint8_t function, std::string_view body, std::uint32_t system) {
    const auto [core, connection] = impl_->live();
    if (!connection) return false;
    // The answer to a message of an earlier connection must not reach the peer of this one.
    if (impl_->on_callback_thread() && CallbackLane::current() != connection->lane().get()) return false;
    return connection->reply(stream, function, body, system);
}

void Link::deselect() {
    if (const auto live = impl_->live(); live.connection) live.connection->deselect();
}

void Link::linktest() {
    if (const auto live = impl_->live(); live.connection) live.connection->linktest();
}

void Link::separate() {
    if (const auto core = impl_->core()) core->separate();
}

}  // namespace hsms
