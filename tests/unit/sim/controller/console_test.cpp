#include "sim/controller/console.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "sim/os.h"
#include "sim/testing/capture.h"
#include "tests/support/temp_folder.h"

namespace sim {
namespace {

TEST(Input, LinesAndTheirEnds) {
    const std::pair<std::string, const char*> cases[] = {
        {"status\r\nquit", "status|quit|"},
        {"\n\nx\r", "||x|"},
        {"12345678\r\n123456789\r\nA", "12345678|123456789|A|"},
        {std::string(20'000'000, 'x') + "\nA\n", "xxxxxxxxxx|A|"},  // in a blink, and cut above 8
    };
    const support::TempFolder folder;
    for (const auto& [bytes, lines] : cases) {
        ASSERT_NE(std::freopen(folder.put("input", bytes).c_str(), "r", stdin), nullptr);
        std::string got;
        while (const auto line = os::read_line(8)) got += *line + "|";
        EXPECT_EQ(got, lines);
    }
}

/// Standard output leads into a pipe from now on; what can be read of it.
int pipe_of_output() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe(ends), 0);
    std::fflush(stdout);
    ::dup2(ends[1], STDOUT_FILENO);
    return ends[0];
}

/// Prints more than the pipe and the buffer hold, with no reader, after a stop request.
void print_to_nobody() {
    pipe_of_output();
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

TEST(Console, LinesThatNobodyReadsAreDroppedAndAnswersAreNot) {
    SystemLogCapture log;
    const int terminal = ::dup(STDOUT_FILENO);
    const int output = pipe_of_output();
    for (int i = 0; i < 16; ++i) print_console(Colour::plain, "", std::string(std::size_t{1} << 20U, 'x'));
    EXPECT_EQ(log.count("standard output is not read"), 1U);
    std::jthread answers([] { print_answer("= ok"); });
    std::string read, bytes(65536, ' ');
    while (!read.ends_with("= ok\n"))
        read.append(bytes, 0, static_cast<std::size_t>(::read(output, bytes.data(), bytes.size())));
    ::dup2(terminal, STDOUT_FILENO);
    flush_console();
    EXPECT_LT(read.size(), std::size_t{10} << 20U);
    EXPECT_EQ(log.count("console lines were dropped"), 1U);
}

TEST(Console, NoLineLooksLikeAnAnswer) {
    testing::internal::CaptureStdout();
    print_console(Colour::plain, "", "a\n! b\n= c\n=d");
    print_answer("= ok");
    flush_console();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\n ! b\n = c\n=d\n= ok\n");
}

}  // namespace
}  // namespace sim
