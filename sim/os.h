// The operating-system calls of the simulated framework and the equipment program, all of them.
#pragma once

#include <cstdio>
#include <filesystem>

namespace sim::os {

/// Flushes a file to the disk; false on failure.
bool sync_file(std::FILE* file);
/// Makes the names in a folder durable.
void sync_folder(const std::filesystem::path& folder);
bool is_terminal(std::FILE* file);
unsigned long process_id();

/// Takes the lock of a folder (a file "lock" in it) for this process; the system gives it back when the
/// process ends, however it ends. False when another process holds it or the folder cannot be written.
bool lock_folder(const std::filesystem::path& folder);

/// From now on SIGINT and SIGTERM are collected for wait_for_stop() and SIGPIPE is ignored.
void catch_stop_signals();
/// Blocks until a stop signal has come or wake_stop() was called. One waiting thread.
void wait_for_stop();
/// Lets wait_for_stop() return. Any thread.
void wake_stop();

}  // namespace sim::os
