#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

#include "sim/os.h"

namespace sim::os {

namespace {

// A pipe that is written once and never read: readable from then on, for every poll.
struct Latch {
    std::array<int, 2> ends = {-1, -1};

    void open() {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
    }
    // Async-signal-safe.
    void raise() const {
        const int error = errno;
        const char byte = 1;
        [[maybe_unused]] const auto written = ::write(ends[1], &byte, 1);
        errno = error;
    }
};

Latch stop_latch;
Latch input_latch;

extern "C" void on_stop_signal(int) {
    stop_latch.raise();
}

/// Waits for one of two descriptors; true when the first is ready.
bool wait_readable(int first, int second, int limit_ms) {
    std::array<pollfd, 2> ends = {pollfd{first, POLLIN, 0}, pollfd{second, POLLIN, 0}};
    while (::poll(ends.data(), ends.size(), limit_ms) < 0 && errno == EINTR) {
    }
    return ends[0].revents != 0;
}

}  // namespace

bool sync_file(std::FILE* file) {
    return std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0;
}

void sync_folder(const std::filesystem::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

bool is_terminal(std::FILE* file) {
    return ::isatty(::fileno(file)) == 1;
}

unsigned long process_id() {
    return static_cast<unsigned long>(::getpid());
}

bool lock_folder(const std::filesystem::path& folder) {
    const auto file = folder / "lock";
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return true;  // held until the process ends
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    if (descriptor >= 0 && error == EWOULDBLOCK) return false;
    throw std::system_error(error, std::generic_category(), file.string() + ": cannot be written");
}

void catch_stop_signals() {
    stop_latch.open();
    input_latch.open();
    struct sigaction action = {};
    action.sa_handler = on_stop_signal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
}

bool wait_for_stop(std::optional<std::chrono::milliseconds> limit) {
    return wait_readable(stop_latch.ends[0], -1, limit ? static_cast<int>(limit->count()) : -1);
}

void request_stop() {
    stop_latch.raise();
}

bool write_output(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EAGAIN) {  // a process sharing the output made it non-blocking
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            ::poll(&output, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> read_line(std::size_t most) {
    static std::string pending;  // what was read after the last line
    std::string line;
    for (;;) {
        const std::size_t end = pending.find('\n');
        const std::size_t room = most + 2 - line.size();  // a byte more than the longest line and its CR
        line.append(pending, 0, std::min(end, room));
        pending.erase(0, end == std::string::npos ? end : end + 1);
        if (end != std::string::npos) break;
        if (wait_readable(input_latch.ends[0], STDIN_FILENO, -1)) return std::nullopt;
        std::array<char, 4096> bytes;
        const auto count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count > 0) pending.assign(bytes.data(), static_cast<std::size_t>(count));
        if (count > 0 || (count < 0 && errno == EINTR)) continue;
        if (line.empty()) return std::nullopt;
        break;  // the last line ends with the input
    }
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

void end_input() {
    input_latch.raise();
}

}  // namespace sim::os
