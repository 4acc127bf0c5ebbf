// A limit on the lines a peer can cause: a flood of connections must not push the history out of the log.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <functional>

namespace hsms {

/// Ten events a minute may be logged, the rest are counted. I/O thread only.
class LineLimit {
  public:
    using Report = std::function<void(std::uint64_t left_out)>;

    /// `report` is called at the end of a minute in which events were left out.
    LineLimit(asio::io_context& io, Report report);
    /// Whether one more event may be logged.
    bool take();
    /// Ends the minute now.
    void end_period();

  private:
    const Report report_;
    asio::steady_timer timer_;
    std::uint64_t taken_ = 0;  // in this minute, which begins with the first
};

}  // namespace hsms
