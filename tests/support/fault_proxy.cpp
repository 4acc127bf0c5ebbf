#include "support/fault_proxy.h"

#include <array>
#include <utility>

namespace support {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

bool strikes(std::mt19937& random, double probability) {
    return static_cast<double>(random() >> 5U) < probability * static_cast<double>(1U << 27U);
}

std::chrono::milliseconds up_to(std::mt19937& random, std::chrono::milliseconds longest) {
    return std::chrono::milliseconds(random() % static_cast<std::uint32_t>(longest.count() + 1));
}

}  // namespace

/// One host connection and its connection to the equipment. Everything runs on the proxy's one thread.
class FaultProxy::Pipe : public std::enable_shared_from_this<Pipe> {
  public:
    Pipe(FaultProxy& proxy, tcp::socket host)
        : proxy_(proxy), sides_{Side(std::move(host)), Side(tcp::socket(proxy.io_))} {}

    void start() {
        const auto self = shared_from_this();
        sides_[1].socket.async_connect({asio::ip::address_v4::loopback(), proxy_.target_port_},
                                       [this, self](std::error_code error) {
                                           if (error) return close(false);
                                           for (Side& side : sides_) {
                                               std::error_code ignored;
                                               side.socket.set_option(tcp::no_delay(true), ignored);
                                           }
                                           read(0);
                                           read(1);
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
        std::array<char, 16384> buffer{};
        std::string held;          // read from this side, to be merged with what comes next
        asio::steady_timer timer;  // of the direction from this side to the other
    };

    void read(std::size_t from) {
        const auto self = shared_from_this();
        Side& side = sides_[from];
        side.socket.async_read_some(asio::buffer(side.buffer),
                                    [this, self, from](std::error_code error, std::size_t size) {
                                        if (error) return end(error);
                                        took(from, size);
                                    });
    }

    /// What one side does, the other learns: FIN as FIN, anything else as RST.
    void end(const std::error_code& error) {
        if (error != asio::error::operation_aborted) close(error != asio::error::eof);
    }

    void took(std::size_t from, std::size_t size) {
        Side& side = sides_[from];
        side.timer.cancel();
        std::string piece = std::exchange(side.held, {}) + std::string(side.buffer.data(), size);
        std::mt19937& random = proxy_.random_;
        const FaultPlan& plan = proxy_.plan_;
        FaultCounts& counts = proxy_.counts_;
        std::unique_lock lock(proxy_.counts_mutex_);
        if (proxy_.calm_ || Clock::now() > proxy_.ends_) {
            lock.unlock();
            return write(from, std::move(piece), 0, false);
        }
        if (counts.cuts < plan.most_cuts && strikes(random, plan.cut)) {
            ++counts.cuts;
            const bool reset = (random() & 1U) != 0;
            std::error_code ignored;
            if ((random() & 1U) != 0)
                asio::write(sides_[1 - from].socket, asio::buffer(piece, random() % (piece.size() + 1)),
                            ignored);
            return close(reset);
        }
        if (counts.flips < plan.most_flips && strikes(random, plan.flip)) {
            ++counts.flips;
            char& byte = piece[random() % piece.size()];
            byte = static_cast<char>(byte ^ (1 << (random() % 8)));
        }
        if (counts.freezes < plan.most_freezes && strikes(random, plan.freeze)) {
            ++counts.freezes;
            frozen_until_ = Clock::now() + up_to(random, plan.longest_freeze);
        }
        if (piece.size() < side.buffer.size() && strikes(random, plan.merge)) {
            ++counts.merges;
            return hold(from, std::move(piece));
        }
        Clock::time_point at = frozen_until_;
        if (strikes(random, plan.delay)) {
            ++counts.delays;
            at = std::max(at, Clock::now() + up_to(random, plan.longest_delay));
        }
        const bool split = strikes(random, plan.split);
        if (split) ++counts.splits;
        lock.unlock();
        later(from, at, [this, from, split, piece = std::move(piece)]() mutable {
            write(from, std::move(piece), 0, split);
        });
    }

    /// The piece goes out with the next one, or alone when none comes in time.
    void hold(std::size_t from, std::string piece) {
        sides_[from].held = std::move(piece);
        later(from, Clock::now() + std::chrono::milliseconds(20), [this, from] {
            std::error_code ignored;
            asio::write(sides_[1 - from].socket, asio::buffer(std::exchange(sides_[from].held, {})), ignored);
        });
        read(from);
    }

    template <class Action>
    void later(std::size_t from, Clock::time_point at, Action action) {
        if (at <= Clock::now()) return action();
        const auto self = shared_from_this();
        sides_[from].timer.expires_at(at);
        sides_[from].timer.async_wait([self, action = std::move(action)](std::error_code error) mutable {
            if (!error) action();
        });
    }

    void write(std::size_t from, std::string piece, std::size_t done, bool split) {
        constexpr std::size_t single_bytes = 64;
        if (done == piece.size()) return read(from);
        const std::size_t size = split && done < single_bytes ? 1 : piece.size() - done;
        const auto self = shared_from_this();
        auto bytes = std::make_shared<std::string>(std::move(piece));
        asio::async_write(sides_[1 - from].socket, asio::buffer(bytes->data() + done, size),
                          [this, self, from, bytes, done, size, split](std::error_code error, std::size_t) {
                              if (error) return end(error);
                              write(from, std::move(*bytes), done + size, split);
                          });
    }

    FaultProxy& proxy_;
    std::array<Side, 2> sides_;
    Clock::time_point frozen_until_{};
};

FaultProxy::FaultProxy(std::uint16_t target_port, const FaultPlan& plan)
    : plan_(plan),
      random_(plan.seed),
      ends_(Clock::now() + plan.longest),
      acceptor_(io_, {asio::ip::address_v4::loopback(), 0}),
      target_port_(target_port),
      port_(acceptor_.local_endpoint().port()) {
    accept();
    thread_ = std::thread([this] { io_.run(); });
}

FaultProxy::~FaultProxy() {
    io_.stop();
    thread_.join();
}

FaultCounts FaultProxy::counts() const {
    const std::lock_guard lock(counts_mutex_);
    return counts_;
}

void FaultProxy::calm() {
    const std::lock_guard lock(counts_mutex_);
    calm_ = true;
}

void FaultProxy::cut_now(bool reset) {
    asio::post(io_, [this, reset] {
        for (const auto& weak : pipes_) {
            const auto pipe = weak.lock();
            if (pipe == nullptr) continue;
            const std::lock_guard lock(counts_mutex_);
            ++counts_.cuts;
            pipe->close(reset);
        }
    });
}

void FaultProxy::accept() {
    acceptor_.async_accept([this](std::error_code error, tcp::socket socket) {
        if (error) return;
        std::erase_if(pipes_, [](const auto& pipe) { return pipe.expired(); });
        const auto pipe = std::make_shared<Pipe>(*this, std::move(socket));
        pipes_.push_back(pipe);
        {
            const std::lock_guard lock(counts_mutex_);
            ++counts_.connections;
        }
        pipe->start();
        accept();
    });
}

}  // namespace support
