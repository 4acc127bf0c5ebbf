#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "sim/os.h"

namespace sim::os {

namespace {

// Written to by the signal handler, read by the one thread that waits.
std::array<int, 2> stop_pipe = {-1, -1};

void write_stop() {
    const char byte = 1;
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(stop_pipe[1], &byte, 1);
    errno = error;
}

extern "C" void on_stop_signal(int) {
    write_stop();
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
    const int descriptor = ::open((folder / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) return false;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;  // held until the process ends
    ::close(descriptor);
    return false;
}

void catch_stop_signals() {
    if (::pipe2(stop_pipe.data(), O_CLOEXEC) != 0) return;
    struct sigaction action = {};
    action.sa_handler = on_stop_signal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
}

void wait_for_stop() {
    char byte = 0;
    while (::read(stop_pipe[0], &byte, 1) < 0 && errno == EINTR) {
    }
}

void wake_stop() {
    write_stop();
}

}  // namespace sim::os
