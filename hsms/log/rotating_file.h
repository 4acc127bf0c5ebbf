// A file that is written in blocks and begun anew when it has grown to its limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace hsms {

/// One thread at a time. Older files are path.1.ext ... path.N.ext. Nothing is thrown but std::bad_alloc and
/// the file system's errors about `path` itself.
class RotatingFile {
  public:
    RotatingFile(std::string path, std::size_t rotate_bytes, std::size_t rotate_count);

    /// Opens the file to append, with its folder; also when there is no file at its path, or it is not as the
    /// last write left it: it was moved, replaced or cut. An error number, 0 when it is open.
    int ensure_open();
    /// Appends the block, to a new file when this one would grow too large. Returns the bytes that got in;
    /// with fewer than all, `error` says why.
    std::size_t write(std::string_view block, int& error);

    const std::string& path() const { return path_; }

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    int open();
    int rotate();

    const std::string path_;
    const std::size_t rotate_bytes_;
    const std::size_t rotate_count_;
    std::unique_ptr<std::FILE, Close> file_;
    std::uintmax_t size_ = 0;  // as the last write left it, and the time of that
    std::filesystem::file_time_type time_;
};

}  // namespace hsms
