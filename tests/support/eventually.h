// For what cannot be awaited: the end of a thread or of a descriptor.
#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Looks again until `condition` holds; false when it does not within thirty seconds.
template <class Condition>
bool eventually(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace support
