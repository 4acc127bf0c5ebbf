#include "hsms/link/listener.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace hsms {
namespace {

// Pause after accepting failed (no descriptors, no memory).
constexpr Milliseconds accept_pause{100};

/// The free port this process was given last: a link that is re-created with port 0 gets it again.
std::atomic<std::uint16_t> last_free_port{0};

/// Whether binding failed because the address is another machine's. Asio's own category has no conditions.
bool is_elsewhere(const asio::error_code& error) {
    const std::error_code plain(error.value(), std::system_category());
    return plain == std::errc::address_not_available || plain == std::errc::address_family_not_supported;
}

}  // namespace

Listener::Listener(asio::io_context& io, const LinkOptions& options, ListenerEvents events)
    : options_(options),
      events_(std::move(events)),
      acceptor_(io),
      retry_timer_(io),
      refusals_(io,
                [this](std::uint64_t left_out) {
                    events_.log(std::to_string(left_out) + " more connections refused");
                }),
      port_(options.port) {}

bool Listener::listen() {
    ErrorCode error;
    const std::string text =
        options_.address.empty() || options_.address == "localhost" ? "127.0.0.1" : options_.address;
    const auto address = asio::ip::make_address(text, error);
    if (!error && listen_on(address, error)) {
        events_.listening();
        events_.log("listening on " + acceptor_.local_endpoint(error).address().to_string() + " port " +
                    std::to_string(port_) + (only_peer_ ? " for " + text : ""));
        return true;
    }
    events_.log("cannot listen on " + text + " port " + std::to_string(options_.port) + ": " +
                error.message());
    return false;
}

/// An address that is not this machine's is the peer's.
bool Listener::listen_on(const asio::ip::address& address, ErrorCode& error) {
    only_peer_.reset();
    if (bind_and_listen(address, error) && options_.listen_address.empty()) return true;
    if (error && !is_elsewhere(error)) return false;
    only_peer_ = address;
    const std::string all = address.is_v6() ? "::" : "0.0.0.0";
    const auto here =
        asio::ip::make_address(options_.listen_address.empty() ? all : options_.listen_address, error);
    return !error && bind_and_listen(here, error);
}

bool Listener::bind_and_listen(const asio::ip::address& address, ErrorCode& error) {
    const auto attempt = [&](std::uint16_t port) {
        ErrorCode ignored;
        acceptor_.close(ignored);
        error.clear();
        const tcp::endpoint endpoint(address, port);
        acceptor_.open(endpoint.protocol(), error);
        if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
        if (!error) acceptor_.bind(endpoint, error);
        if (!error) acceptor_.listen(tcp::acceptor::max_listen_connections, error);
        if (error) acceptor_.close(ignored);
        return !error;
    };
    const bool any_port = options_.port == 0;
    const std::uint16_t known_port = last_free_port;
    const bool bound = (any_port && known_port != 0 && attempt(known_port)) || attempt(options_.port);
    if (!bound) return false;
    port_ = acceptor_.local_endpoint(error).port();
    if (any_port) last_free_port = port_.load();
    return true;
}

void Listener::run() {
    if (closed_) return;
    if (!acceptor_.is_open()) return later(options_.t5);
    ErrorCode ignored;
    acceptor_.cancel(ignored);
    accept();
}

void Listener::later(Milliseconds pause) {
    retry_timer_.expires_after(pause);
    retry_timer_.async_wait([this](const ErrorCode& error) {
        if (error || closed_) return;
        if (!acceptor_.is_open()) listen();
        run();
    });
}

void Listener::accept() {
    acceptor_.async_accept([this](const ErrorCode& error, tcp::socket socket) {
        if (closed_ || error == asio::error::operation_aborted) return;
        if (error) {
            if (!std::exchange(accept_error_logged_, true))
                events_.log("cannot accept a connection: " + error.message());
            return later(accept_pause);
        }
        accept_error_logged_ = false;
        on_accepted(std::move(socket));
        accept();
    });
}

void Listener::on_accepted(tcp::socket socket) {
    ErrorCode error;
    const auto peer = socket.remote_endpoint(error).address();
    if (error) return;  // gone again
    if (only_peer_ && peer != *only_peer_) return refuse(peer, "not the peer");
    if (!is_allowed(peer)) return refuse(peer, "not an allowed address");
    events_.accepted(std::move(socket), peer);
}

bool Listener::is_allowed(const asio::ip::address& address) const {
    const auto is_it = [&](const std::string& text) {
        ErrorCode error;
        return asio::ip::make_address(text, error) == address && !error;
    };
    return options_.allowed_peers.empty() ||
           std::any_of(options_.allowed_peers.begin(), options_.allowed_peers.end(), is_it);
}

void Listener::refuse(const asio::ip::address& peer, const std::string& why) {
    if (refusals_.take()) events_.log("connection from " + peer.to_string() + " refused: " + why);
}

void Listener::close() {
    closed_ = true;
    ErrorCode ignored;
    acceptor_.close(ignored);
    retry_timer_.cancel();
    refusals_.end_period();
}

}  // namespace hsms
