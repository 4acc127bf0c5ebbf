#include "hsms/link/line_limit.h"

#include <chrono>
#include <utility>

namespace hsms {
namespace {

constexpr std::uint64_t logged_events = 10;
constexpr std::chrono::minutes period{1};

}  // namespace

LineLimit::LineLimit(asio::io_context& io, Report report) : report_(std::move(report)), timer_(io) {}

bool LineLimit::take() {
    if (taken_ == 0) {
        timer_.expires_after(period);
        timer_.async_wait([this](const asio::error_code& error) {
            if (!error) end_period();
        });
    }
    return ++taken_ <= logged_events;
}

void LineLimit::end_period() {
    timer_.cancel();
    if (const auto taken = std::exchange(taken_, 0); taken > logged_events) report_(taken - logged_events);
}

}  // namespace hsms
