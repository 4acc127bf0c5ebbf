// The operating-system calls of the simulated framework and the equipment program, all of them.
#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace sim::os {

/// Flushes a file to the disk; false on failure.
bool sync_file(std::FILE* file);
/// Makes the names in a folder durable.
void sync_folder(const std::filesystem::path& folder);
bool is_terminal(std::FILE* file);
unsigned long process_id();

/// Takes the lock of a folder (a file "lock" in it) for this process; the system gives it back when the
/// process ends, however it ends. False when another process holds it; throws std::system_error when the
/// lock file cannot be written.
bool lock_folder(const std::filesystem::path& folder);

/// From now on SIGINT and SIGTERM are collected for wait_for_stop() and SIGPIPE is ignored. Once per process.
void catch_stop_signals();
/// Waits until a stop signal has come or request_stop() was called; false when that time passes first.
bool wait_for_stop(std::optional<std::chrono::milliseconds> limit);
/// Lets wait_for_stop() return true from now on. Any thread.
void request_stop();

/// Writes the whole text to standard output, however long that takes; false when it cannot be written.
bool write_output(std::string_view bytes);
/// The next line of standard input without its line end (the last one may lack it); nothing at the input's
/// end and after end_input(). A line of more than `most` bytes is cut, to more than `most` all the same. One
/// reading thread.
std::optional<std::string> read_line(std::size_t most);
/// Lets a waiting read_line() return nothing. Any thread; after catch_stop_signals().
void end_input();

}  // namespace sim::os
