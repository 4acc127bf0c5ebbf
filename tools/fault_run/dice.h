// What chance does to the pieces of data on a bad network.
#pragma once

#include <chrono>
#include <mutex>
#include <random>
#include <string>

#include "tools/fault_run/network.h"

namespace faults {

/// A piece of this size or more does not wait for the next one.
inline constexpr std::size_t longest_held = 16384;

/// What becomes of one piece.
struct Fate {
    std::chrono::milliseconds delay{0};
    std::chrono::milliseconds freeze{0};  ///< of both directions
    bool hold = false;                    ///< until the next piece comes
    bool split = false;
};

/// Any thread.
class Dice {
  public:
    explicit Dice(const Plan& plan) : plan_(plan), random_(plan.seed) {}

    /// The fate of the piece; a bit of it may be flipped at once.
    Fate cast(std::string& piece);
    void calm();
    Counts counts() const;
    void count_connection();
    void count_cut();

  private:
    bool strikes(double share, int& count);
    std::chrono::milliseconds up_to(std::chrono::milliseconds longest);

    const Plan plan_;
    mutable std::mutex mutex_;
    std::mt19937 random_;
    Counts counts_;
    bool calm_ = false;
};

}  // namespace faults
