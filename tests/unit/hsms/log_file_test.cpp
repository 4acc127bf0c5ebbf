#include "hsms/log/log_file.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <vector>

#include "log_text.h"

namespace hsms {
namespace {

TEST(LogFile, EntriesBeginWithTheTime) {
    const TempFolder folder;
    const std::string path = folder.path() / "made" / "online.log";
    {
        LogFile log({.path = path});
        log.entry("first\n中文 \xFF");
        log.entry("");
        log.line("bare");
        log.flush();
        EXPECT_EQ(without_times(read_file(path)), "TIME\nfirst\n中文 \xFF\nTIME\n\nbare\n");
        log.entry("written by the destructor");
    }
    EXPECT_NE(read_file(path).find("written by the destructor\n"), std::string::npos);
}

TEST(LogFile, LosesNothingUnderManyWriters) {
    const TempFolder folder;
    const std::string path = folder.path() / "a.log";
    constexpr int writers = 4;
    constexpr int lines = 5000;
    {
        // The buffer is far smaller than what is written: writers have to wait for room.
        LogFile log({.path = path, .rotate_bytes = 200'000, .rotate_count = 100, .buffer_bytes = 10'000});
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer)
            threads.emplace_back([&log, writer] {
                for (int i = 0; i < lines; ++i)
                    log.line(std::to_string(writer) + " " + std::to_string(i) + std::string(30, '.'));
            });
        for (std::thread& thread : threads) thread.join();
    }
    std::vector<int> next(writers, 0);
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++files;
        EXPECT_LE(entry.file_size(), 200'000U);
    }
    EXPECT_GT(files, 3U);
    for (std::size_t i = files; i-- > 0;) {  // a.N.log is the oldest, a.log the newest
        std::istringstream in(
            read_file(i == 0 ? path : (folder.path() / ("a." + std::to_string(i) + ".log")).string()));
        int writer = 0;
        int number = 0;
        for (std::string rest; in >> writer >> number >> rest;)
            ASSERT_EQ(number, next[static_cast<std::size_t>(writer)]++);
    }
    for (const int count : next) EXPECT_EQ(count, lines);
}

TEST(LogFile, SurvivesAFileThatCannotBeWritten) {
    const TempFolder folder;
    std::ofstream(folder.path() / "file") << "in the way";
    for (const std::string& path : {(folder.path() / "file" / "a.log").string(), std::string("/dev/full")}) {
        testing::internal::CaptureStderr();
        {
            LogFile log({.path = path, .buffer_bytes = 1000});
            for (int i = 0; i < 100; ++i) log.line(std::string(99, 'x'));
            log.flush();
            EXPECT_EQ(log.lost_bytes(), 10'000U) << path;
        }
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    }
}

}  // namespace
}  // namespace hsms
