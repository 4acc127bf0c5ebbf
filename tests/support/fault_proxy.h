// A bad network on loopback: stands between a host and an equipment and, by a seed, delays, splits into
// single bytes, merges, freezes, flips bytes and cuts.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace support {

/// How often each fault strikes, per piece of data read from either side (0 to 1), and how much of it at
/// most.
struct FaultPlan {
    std::uint32_t seed = 1;
    double delay = 0;
    std::chrono::milliseconds longest_delay{20};
    double split = 0;   ///< the first 64 bytes go out one by one
    double merge = 0;   ///< the piece waits for the next one (20 ms at most)
    double freeze = 0;  ///< nothing moves in either direction
    std::chrono::milliseconds longest_freeze{300};
    double flip = 0;  ///< one bit of the piece
    double cut =
        0;  ///< both sides, with FIN or RST by turns of the seed; the piece goes through first or not
    /// What there is in all; after that the proxy only passes on.
    int most_cuts = 0;
    int most_flips = 0;
    int most_freezes = 100;
    std::chrono::seconds longest{600};
};

struct FaultCounts {
    int connections = 0;
    int cuts = 0;
    int flips = 0;
    int freezes = 0;
    int splits = 0;
    int merges = 0;
    int delays = 0;
};

/// Listens on a free port of loopback; every connection gets one to the target.
class FaultProxy {
  public:
    FaultProxy(std::uint16_t target_port, const FaultPlan& plan);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return port_; }
    FaultCounts counts() const;
    /// From now on nothing strikes any more.
    void calm();
    /// Cuts every connection now, with FIN or RST.
    void cut_now(bool reset);

    class Pipe;

  private:
    void accept();

    FaultPlan plan_;
    std::mt19937 random_;
    FaultCounts counts_;
    bool calm_ = false;
    std::chrono::steady_clock::time_point ends_;
    asio::io_context io_;
    asio::ip::tcp::acceptor acceptor_;
    std::uint16_t target_port_;
    std::uint16_t port_;
    std::vector<std::weak_ptr<Pipe>> pipes_;
    mutable std::mutex counts_mutex_;
    std::thread thread_;

    friend class Pipe;
};

}  // namespace support
