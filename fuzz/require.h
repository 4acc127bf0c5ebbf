// What a fuzz target asserts, in every build type.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Ends the process as a crash would, which the fuzzer takes as a finding.
inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
}

/// What libFuzzer, or replay_main.cpp, calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
