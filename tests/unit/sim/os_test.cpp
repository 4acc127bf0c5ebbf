#include "sim/os.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "sim/console.h"
#include "tests/support/temp_folder.h"

namespace sim {
namespace {

std::array<int, 2> make_pipe() {
    std::array<int, 2> ends = {-1, -1};
    if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    return ends;
}

/// The lines that read_line() makes of these bytes on standard input.
std::vector<std::string> lines_of(const std::string& bytes) {
    const auto ends = make_pipe();
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    const int kept = ::dup(STDIN_FILENO);
    ::dup2(ends[0], STDIN_FILENO);
    ::close(ends[0]);
    std::vector<std::string> lines;
    while (auto line = os::read_line()) lines.push_back(*line);
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
    return lines;
}

TEST(Input, TheLastLineNeedsNoNewline) {
    using Lines = std::vector<std::string>;
    const struct {
        std::string bytes;
        Lines lines;
    } cases[] = {
        {"", {}},           {"status\n", {"status"}},   {"status\r\nquit", {"status", "quit"}},
        {"quit", {"quit"}}, {"\n\nx\r", {"", "", "x"}},
    };
    for (const auto& c : cases) EXPECT_EQ(lines_of(c.bytes), c.lines) << c.bytes;
}

TEST(FolderLock, AHeldLockIsNotAnUnwritableOne) {
    const support::TempFolder folder;
    EXPECT_THROW(os::lock_folder(folder.path() / "missing"), std::system_error);
    // flock() belongs to the open file, so that a second one in this process stands for another process.
    const int other = ::open((folder.path() / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(os::lock_folder(folder.path()));
    ::close(other);
    EXPECT_TRUE(os::lock_folder(folder.path()));
}

/// Prints more than the pipe and the buffer hold, with nobody reading, after a stop was asked for.
void print_to_nobody() {
    const auto ends = make_pipe();
    std::fflush(stdout);  // what the test program printed would be flushed by exit()
    ::dup2(ends[1], STDOUT_FILENO);
    ::alarm(30);
    os::catch_stop_signals();
    os::request_stop();
    for (int i = 0; i < 8; ++i) print_answer(std::string(std::size_t{1} << 20U, 'x'));
    flush_console();
    std::exit(0);
}

TEST(ConsoleDeathTest, AStopDoesNotWaitForAReader) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(print_to_nobody(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace sim
