// A log file that callers never wait for: entries are gathered in memory and written in batches by one
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace hsms {

inline constexpr std::size_t never_rotate = SIZE_MAX;

struct LogFileOptions {
    std::string path;                                   ///< its folder is made when missing
    std::size_t rotate_bytes = std::size_t{10} << 20U;  ///< or never_rotate
    std::size_t rotate_count = 5;                       ///< older files kept, as path.1.ext ... path.N.ext
    /// Entries held in memory; when it is full a caller waits for the writer.
    std::size_t buffer_bytes = std::size_t{8} << 20U;
};

/// A rotating log file. Any thread may call any function. Texts are bytes and pass unchanged.
///
/// An entry is the line `YYYY-MM-DD hh:mm:ss.mmm` (local time), the text from the next line on, and a
/// newline. Entries that a full disk or a missing folder keeps out of the file are lost; once it can be
/// written again an entry says how many, each time. A file that was moved or removed is made anew with the
/// next batch.
class LogFile {
  public:
    /// Makes the file; one that cannot be made is tried again with each batch. std::system_error when there
    /// is no thread for the writer.
    explicit LogFile(LogFileOptions options);
    /// Writes all that was logged.
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends an entry with the current time; in the file within about 50 ms. Never fails: what cannot be
    /// written is reported on standard error, once until it can be written again.
    void entry(std::string_view text);
    /// Appends the text and a newline, without the time line.
    void line(std::string_view text);
    /// Returns once everything logged so far is in the file or given up. Empty, or one line that says why it
    /// was given up.
    std::string flush();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace hsms
