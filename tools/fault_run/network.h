// A bad network: it passes on what two sides send to each other and, by a seed, delays, splits into single
// bytes, merges, freezes, flips bits and cuts.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace faults {

/// How often each fault strikes, as a share (0 to 1) of the pieces of data read from either side.
struct Plan {
    std::uint32_t seed = 1;
    double delay = 0.05;    ///< 20 ms at most
    double split = 0.05;    ///< the first 64 bytes go out one by one
    double merge = 0.05;    ///< the piece waits for the next one, 20 ms at most
    double freeze = 0.002;  ///< nothing moves in either direction, 300 ms at most
    double flip = 0.02;     ///< one bit of the piece
    int most_flips = 0;
    int most_freezes = 100;
};

struct Counts {
    int connections = 0;
    int cuts = 0;
    int flips = 0;
    int freezes = 0;
    int splits = 0;
    int merges = 0;
    int delays = 0;
};
/// "network: 9 connections, 8 cuts, ...".
std::string to_text(const Counts& counts);

/// ADDRESS:PORT; an IPv6 address in square brackets.
struct Endpoint {
    std::string address;
    std::uint16_t port = 0;
};

/// Listens, and makes a connection of its own to the target for each one that it takes. All functions may be
/// called from any thread; the work is done on one of its own.
class Network {
  public:
    /// Port 0 takes any free one. Throws std::system_error when the target's name is not known or `listen` is
    /// no address to listen on.
    Network(const Endpoint& listen, const Endpoint& target, const Plan& plan);
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// The port listened on.
    std::uint16_t port() const;
    Counts counts() const;
    /// From now on everything is only passed on.
    void calm();
    /// Cuts every connection, with FIN or RST.
    void cut(bool reset);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace faults
