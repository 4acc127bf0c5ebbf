// A folder of its own for a test.
#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace hsms {

class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> count{0};
        path_ = std::filesystem::temp_directory_path() /
                ("hsms_tests." + std::to_string(::getpid()) + "." + std::to_string(count++));
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

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
