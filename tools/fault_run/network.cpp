#include "tools/fault_run/network.h"

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <thread>
#include <utility>

#include "tools/fault_run/dice.h"

namespace faults {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

/// One connection that was taken and its connection to the target. Everything runs on the network's thread.
class Pipe : public std::enable_shared_from_this<Pipe> {
  public:
    Pipe(Dice& dice, tcp::socket taken, asio::io_context& io)
        : dice_(dice), sides_{Side(std::move(taken)), Side(tcp::socket(io))} {}

    void start(const tcp::endpoint& target) {
        sides_[1].socket.async_connect(target, [self = shared_from_this()](std::error_code error) {
            if (error) return self->close(false);
            for (Side& side : self->sides_) {
                std::error_code ignored;
                side.socket.set_option(tcp::no_delay(true), ignored);
            }
            self->read(0);
            self->read(1);
        });
    }

    void close(bool reset) {
        for (Side& side : sides_) {
            std::error_code ignored;
            if (reset) side.socket.set_option(asio::socket_base::linger(true, 0), ignored);
            side.socket.close(ignored);
            side.timer.cancel();
        }
    }

  private:
    struct Side {
        explicit Side(tcp::socket s) : socket(std::move(s)), timer(socket.get_executor()) {}
        tcp::socket socket;
        std::array<char, longest_held> buffer{};
        std::string held;          // read from this side, to be merged with what comes next
        asio::steady_timer timer;  // of the direction from this side to the other
    };

    void read(std::size_t from) {
        Side& side = sides_[from];
        side.socket.async_read_some(asio::buffer(side.buffer), [self = shared_from_this(), from](
                                                                   std::error_code error, std::size_t size) {
            if (error) return self->end(error);
            self->took(from, size);
        });
    }

    /// What one side does, the other sees: FIN as FIN, anything else as RST.
    void end(const std::error_code& error) {
        if (error != asio::error::operation_aborted) close(error != asio::error::eof);
    }

    void took(std::size_t from, std::size_t size) {
        Side& side = sides_[from];
        side.timer.cancel();
        std::string piece = std::exchange(side.held, {}) + std::string(side.buffer.data(), size);
        const Fate fate = dice_.cast(piece);
        const Clock::time_point now = Clock::now();
        frozen_until_ = std::max(frozen_until_, now + fate.freeze);
        if (fate.hold) return hold(from, std::move(piece));
        later(from, std::max(frozen_until_, now + fate.delay),
              [self = shared_from_this(), from, split = fate.split, piece = std::move(piece)]() mutable {
                  self->write(from, std::move(piece), 0, split);
              });
    }

    /// The piece goes out with the next one, or alone when none comes in time.
    void hold(std::size_t from, std::string piece) {
        sides_[from].held = std::move(piece);
        later(from, Clock::now() + std::chrono::milliseconds(20), [self = shared_from_this(), from] {
            std::error_code ignored;
            asio::write(self->sides_[1 - from].socket,
                        asio::buffer(std::exchange(self->sides_[from].held, {})), ignored);
        });
        read(from);
    }

    template <class Action>
    void later(std::size_t from, Clock::time_point at, Action action) {
        if (at <= Clock::now()) return action();
        sides_[from].timer.expires_at(at);
        sides_[from].timer.async_wait([action = std::move(action)](std::error_code error) mutable {
            if (!error) action();
        });
    }

    void write(std::size_t from, std::string piece, std::size_t done, bool split) {
        constexpr std::size_t single_bytes = 64;
        if (done == piece.size()) return read(from);
        const std::size_t size = split && done < single_bytes ? 1 : piece.size() - done;
        auto bytes = std::make_shared<std::string>(std::move(piece));
        asio::async_write(
            sides_[1 - from].socket, asio::buffer(bytes->data() + done, size),
            [self = shared_from_this(), from, bytes, done, size, split](std::error_code error, std::size_t) {
                if (error) return self->end(error);
                self->write(from, std::move(*bytes), done + size, split);
            });
    }

    Dice& dice_;
    std::array<Side, 2> sides_;
    Clock::time_point frozen_until_{};
};

tcp::endpoint resolve(asio::io_context& io, const Endpoint& endpoint) {
    std::error_code error;
    const auto found = tcp::resolver(io).resolve(endpoint.address, std::to_string(endpoint.port), error);
    if (error) throw std::system_error(error, endpoint.address);
    return *found.begin();
}

}  // namespace

class Network::Impl {
  public:
    Impl(const Endpoint& listen, const Endpoint& target, const Plan& plan)
        : dice(plan), target_(resolve(io_, target)), acceptor_(io_, resolve(io_, listen)) {
        accept();
        thread_ = std::thread([this] { io_.run(); });
    }
    ~Impl() {
        io_.stop();
        thread_.join();
    }

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

    void cut(bool reset) {
        asio::post(io_, [this, reset] {
            for (const auto& weak : std::exchange(pipes_, {}))
                if (const auto pipe = weak.lock()) {
                    dice.count_cut();
                    pipe->close(reset);
                }
        });
    }

    Dice dice;

  private:
    void accept() {
        acceptor_.async_accept([this](std::error_code error, tcp::socket socket) {
            if (error) {  // out of descriptors, say
                retry_.expires_after(std::chrono::milliseconds(100));
                return retry_.async_wait([this](std::error_code) { accept(); });
            }
            std::erase_if(pipes_, [](const auto& pipe) { return pipe.expired(); });
            const auto pipe = std::make_shared<Pipe>(dice, std::move(socket), io_);
            pipes_.push_back(pipe);
            dice.count_connection();
            pipe->start(target_);
            accept();
        });
    }

    asio::io_context io_;
    tcp::endpoint target_;
    tcp::acceptor acceptor_;
    asio::steady_timer retry_{io_};
    std::vector<std::weak_ptr<Pipe>> pipes_;
    std::thread thread_;
};

Network::Network(const Endpoint& listen, const Endpoint& target, const Plan& plan)
    : impl_(std::make_unique<Impl>(listen, target, plan)) {}
Network::~Network() = default;

std::uint16_t Network::port() const {
    return impl_->port();
}
Counts Network::counts() const {
    return impl_->dice.counts();
}
void Network::calm() {
    impl_->dice.calm();
}
void Network::cut(bool reset) {
    impl_->cut(reset);
}

std::string to_text(const Counts& counts) {
    const std::pair<int, const char*> all[] = {{counts.connections, " connections, "},
                                               {counts.cuts, " cuts, "},
                                               {counts.flips, " flipped bits, "},
                                               {counts.freezes, " freezes, "},
                                               {counts.splits, " splits, "},
                                               {counts.merges, " merges, "},
                                               {counts.delays, " delays"}};
    std::string text = "network: ";
    for (const auto& [count, what] : all) text += std::to_string(count) + what;
    return text;
}

}  // namespace faults
