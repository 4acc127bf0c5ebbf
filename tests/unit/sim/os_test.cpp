#include "sim/os.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "sim/controller/console.h"

namespace sim {
namespace {

using Lines = std::vector<std::string>;

std::array<int, 2> make_pipe() {
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(::pipe(ends.data()), 0);
    return ends;
}

/// The lines that read_line() makes of these bytes on standard input.
Lines lines_of(const std::string& bytes) {
    const auto ends = make_pipe();
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    const int kept = ::dup(STDIN_FILENO);
    ::dup2(ends[0], STDIN_FILENO);
    ::close(ends[0]);
    Lines lines;
    while (auto line = os::read_line()) lines.push_back(*line);
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
    return lines;
}

TEST(Input, TheLastLineNeedsNoNewline) {
    const std::pair<const char*, Lines> cases[] = {
        {"", {}},           {"status\n", {"status"}},   {"status\r\nquit", {"status", "quit"}},
        {"quit", {"quit"}}, {"\n\nx\r", {"", "", "x"}},
    };
    for (const auto& [bytes, lines] : cases) EXPECT_EQ(lines_of(bytes), lines) << bytes;
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

TEST(Console, NoLineLooksLikeAnAnswer) {
    testing::internal::CaptureStdout();
    print_console(Colour::plain, "", "= 5");
    print_console(Colour::plain, "", "a\n! b\n= c\n=d");
    print_console(Colour::plain, "FA", "= 5");
    print_answer("= ok");
    flush_console();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " = 5\na\n ! b\n = c\n=d\n[FA] = 5\n= ok\n");
}

}  // namespace
}  // namespace sim
