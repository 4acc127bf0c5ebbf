// What a process holds of the system, to be compared before and after.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "support/eventually.h"

namespace support {

/// True in sanitizer builds, where memory figures say nothing.
#ifdef FA_SANITIZED
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif

class Footprint {
  public:
    /// Of a process by its id, or "self".
    explicit Footprint(const std::string& pid) : proc_("/proc/" + pid) {}

    /// Waits until no more than `few` descriptors and threads are open than then; what has grown all the
    /// same, memory by more than `kb` included, "" for nothing.
    std::string growth(long kb, int few = 0) const {
        const auto open = [&] {
            return entries("fd") > descriptors_ + few || entries("task") > threads_ + few;
        };
        std::string grown = eventually([&] { return !open(); }) ? "" : "descriptors or threads; ";
        const long more = resident_kb() - resident_kb_;
        if (!sanitized && more > kb) grown += std::to_string(more) + " kB";
        return grown;
    }

  private:
    int entries(const char* folder) const {
        int n = 0;
        for (const auto& entry : std::filesystem::directory_iterator(proc_ / folder))
            n += entry.path().empty() ? 0 : 1;
        return n;
    }
    long resident_kb() const {
        std::ifstream status(proc_ / "status");
        long kb = 0;
        for (std::string word; status >> word && !(word == "VmRSS:" && status >> kb);) {
        }
        return kb;
    }

    std::filesystem::path proc_;
    int descriptors_ = entries("fd");
    int threads_ = entries("task");
    long resident_kb_ = resident_kb();
};

}  // namespace support
