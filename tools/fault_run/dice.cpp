#include "tools/fault_run/dice.h"

namespace faults {

using std::chrono::milliseconds;

bool Dice::strikes(double share, int& count) {
    if (static_cast<double>(random_() >> 5U) >= share * static_cast<double>(1U << 27U)) return false;
    ++count;
    return true;
}

milliseconds Dice::up_to(milliseconds longest) {
    return milliseconds(random_() % static_cast<std::uint32_t>(longest.count() + 1));
}

Fate Dice::cast(std::string& piece) {
    const std::lock_guard lock(mutex_);
    Fate fate;
    if (calm_) return fate;
    if (counts_.flips < plan_.most_flips && strikes(plan_.flip, counts_.flips)) {
        char& byte = piece[random_() % piece.size()];
        byte = static_cast<char>(byte ^ (1 << (random_() % 8)));
    }
    if (counts_.freezes < plan_.most_freezes && strikes(plan_.freeze, counts_.freezes))
        fate.freeze = up_to(milliseconds(300));
    fate.hold = piece.size() < longest_held && strikes(plan_.merge, counts_.merges);
    if (fate.hold) return fate;
    if (strikes(plan_.delay, counts_.delays)) fate.delay = up_to(milliseconds(20));
    fate.split = strikes(plan_.split, counts_.splits);
    return fate;
}

void Dice::calm() {
    const std::lock_guard lock(mutex_);
    calm_ = true;
}

Counts Dice::counts() const {
    const std::lock_guard lock(mutex_);
    return counts_;
}

void Dice::count_connection() {
    const std::lock_guard lock(mutex_);
    ++counts_.connections;
}

void Dice::count_cut() {
    const std::lock_guard lock(mutex_);
    ++counts_.cuts;
}

}  // namespace faults
