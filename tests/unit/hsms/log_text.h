// Reads log files back without their times.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/temp_folder.h"

namespace hsms {

using support::TempFolder;

inline std::string read_file(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// The text with every time of a log entry ("2026-01-31 23:59:59.999") replaced by "TIME".
inline std::string without_times(std::string text) {
    const std::string shape = "dddd-dd-dd dd:dd:dd.ddd\n";
    for (std::size_t at = 0; at + shape.size() <= text.size(); ++at) {
        const auto fits = [&](char expected, char c) {
            return expected == 'd' ? c >= '0' && c <= '9' : c == expected;
        };
        if (std::equal(shape.begin(), shape.end(), text.begin() + static_cast<std::ptrdiff_t>(at), fits))
            text.replace(at, shape.size(), "TIME\n");
    }
    return text;
}

}  // namespace hsms
