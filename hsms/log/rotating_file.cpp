#include "hsms/log/rotating_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace hsms {
namespace {

namespace fs = std::filesystem;

fs::path older(const fs::path& path, std::size_t number) {
    if (number == 0) return path;
    fs::path name = path.stem();
    name += "." + std::to_string(number);
    name += path.extension();
    return path.parent_path() / name;
}

}  // namespace

RotatingFile::RotatingFile(std::string path, std::size_t rotate_bytes, std::size_t rotate_count)
    : path_(std::move(path)), rotate_bytes_(rotate_bytes), rotate_count_(rotate_count) {}

int RotatingFile::ensure_open() {
    std::error_code error;
    if (file_ && fs::file_size(path_, error) == size_ && fs::last_write_time(path_, error) == time_) return 0;
    return open();
}

int RotatingFile::open() {
    file_ = nullptr;
    std::error_code error;
    const fs::path folder = fs::path(path_).parent_path();
    if (!folder.empty()) fs::create_directories(folder, error);
    if (error) return error.value();
    file_.reset(std::fopen(path_.c_str(), "ab"));
    if (!file_) return errno;
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);  // blocks come in one piece, and say how much got in
    size_ = fs::file_size(path_, error);
    if (error) size_ = 0;  // no plain file
    time_ = fs::last_write_time(path_, error);
    return 0;
}

std::size_t RotatingFile::write(std::string_view block, int& error) {
    if (size_ > 0 && block.size() > rotate_bytes_ - std::min<std::uintmax_t>(size_, rotate_bytes_))
        error = rotate();
    else
        error = file_ ? 0 : ensure_open();
    if (error != 0) return 0;
    errno = 0;
    const std::size_t written = std::fwrite(block.data(), 1, block.size(), file_.get());
    if (written < block.size()) {
        error = errno != 0 ? errno : EIO;
        std::clearerr(file_.get());
    }
    size_ += written;
    std::error_code ignored;
    time_ = fs::last_write_time(path_, ignored);
    return written;
}

/// A file that cannot be renamed grows on: too long a log is better than a lost one.
int RotatingFile::rotate() {
    file_ = nullptr;
    std::error_code ignored;
    for (std::size_t number = rotate_count_; number > 0; --number)
        fs::rename(older(path_, number - 1), older(path_, number), ignored);
    if (rotate_count_ == 0) fs::remove(path_, ignored);
    return open();
}

}  // namespace hsms
