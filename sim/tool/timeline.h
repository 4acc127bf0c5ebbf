// What has to be done and when, in machine time, and the tool's random numbers. One thread at a time.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <queue>
#include <random>
#include <utility>
#include <vector>

namespace sim {

/// Steps in the order of their times; those of one time in the order in which they were put there.
class Timeline {
  public:
    using Milliseconds = std::int64_t;

    Milliseconds now() const { return now_; }
    /// When the next step is due; nothing when none is.
    std::optional<Milliseconds> next() const {
        return steps_.empty() ? std::nullopt : std::optional(steps_.top().time);
    }
    /// Lets the time pass without a step; never back, and never past the next step.
    void pass(Milliseconds until) {
        if (const auto due = next(); due && until > *due) until = *due;
        if (until > now_) now_ = until;
    }
    void after(double seconds, std::function<void()> action) {
        steps_.push({now_ + std::llround(seconds * 1000), number_++, std::move(action)});
    }
    /// Takes the next step; only when there is one.
    void run_next() {
        const Step step = steps_.top();
        steps_.pop();
        now_ = step.time;
        step.action();
    }

  private:
    struct Step {
        Milliseconds time;
        std::uint64_t number;
        std::function<void()> action;

        bool operator<(const Step& other) const {  // the queue gives the greatest first
            return time != other.time ? time > other.time : number > other.number;
        }
    };

    std::priority_queue<Step> steps_;
    Milliseconds now_ = 0;
    std::uint64_t number_ = 0;
};

/// The same numbers for the same seed with every compiler and library.
class Chance {
  public:
    explicit Chance(unsigned seed) : engine_(seed) {}
    /// At least 0 and below 1.
    double unit() { return static_cast<double>(engine_()) / 4294967296.0; }
    std::size_t below(std::size_t count) {
        return static_cast<std::size_t>(unit() * static_cast<double>(count));
    }

  private:
    std::mt19937 engine_;
};

}  // namespace sim
