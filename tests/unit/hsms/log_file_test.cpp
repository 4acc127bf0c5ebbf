#include "hsms/log/log_file.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <vector>

#include "peer.h"
#include "tests/support/temp_folder.h"

namespace hsms {
namespace {

TEST(LogFile, EntriesBeginWithTheTime) {
    const support::TempFolder folder;
    {
        LogFile log({.path = folder.path() / "made" / "online.log"});
        log.entry("first\n中文 \xFF");
        log.entry("");
        log.line("bare");
        log.flush();
        EXPECT_EQ(without_times(folder.read("made/online.log")), "TIME\nfirst\n中文 \xFF\nTIME\n\nbare\n");
        log.entry("written by the destructor");
    }
    EXPECT_TRUE(folder.read("made/online.log").ends_with("\nwritten by the destructor\n"));
}

TEST(LogFile, LosesNothingUnderManyWriters) {
    const support::TempFolder folder;
    constexpr int writers = 4;
    constexpr int lines = 5000;
    {
        // The buffer is far smaller than what is written: writers have to wait for room.
        LogFile log({.path = folder.path() / "a.log",
                     .rotate_bytes = 200'000,
                     .rotate_count = 100,
                     .buffer_bytes = 10'000});
        std::vector<std::jthread> threads;
        for (int writer = 0; writer < writers; ++writer)
            threads.emplace_back([&log, writer] {
                for (int i = 0; i < lines; ++i)
                    log.line(std::to_string(writer) + " " + std::to_string(i) + std::string(30, '.'));
            });
        threads.clear();
    }
    std::vector<std::string> files{folder.read("a.log")};  // then a.1.log and so on, older and older
    while (std::filesystem::exists(folder.path() / ("a." + std::to_string(files.size()) + ".log")))
        files.push_back(folder.read("a." + std::to_string(files.size()) + ".log"));
    EXPECT_GT(files.size(), 3U);
    std::vector<int> next(writers, 0);
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
        EXPECT_LE(file->size(), 200'000U);
        std::istringstream in(*file);
        int writer = 0;
        int number = 0;
        for (std::string rest; in >> writer >> number >> rest;)
            ASSERT_EQ(number, next[static_cast<std::size_t>(writer)]++);
    }
    for (const int count : next) EXPECT_EQ(count, lines);
}

TEST(LogFile, SurvivesAFileThatCannotBeWritten) {
    const support::TempFolder folder;
    folder.put("file", "in the way");
    for (const auto& [path, why] : {std::pair((folder.path() / "file" / "a.log").string(), "Not a directory"),
                                    {"/dev/full", "No space left on device"}}) {
        testing::internal::CaptureStderr();
        {
            LogFile log({.path = path, .buffer_bytes = 1000});
            for (int i = 0; i < 100; ++i) log.line(std::string(99, 'x'));
            EXPECT_EQ(log.flush(), path + ": " + why);
        }
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
    }
}

TEST(LogFile, SaysWhatAFullDiskHasLost) {
    const support::TempFolder folder;
    LogFile log({.path = folder.path() / "a.log"});
    std::signal(SIGXFSZ, SIG_IGN);
    const auto fill = [&](std::size_t size, bool timed) {
        const Limit full_disk(RLIMIT_FSIZE, size);
        for (const char* text : {"second", "third"}) timed ? log.entry(text) : log.line(text);
        EXPECT_NE(log.flush(), "");
    };
    log.line("first");
    EXPECT_EQ(log.flush(), "");
    fill(9, false);
    EXPECT_EQ(folder.read("a.log"), "first\nsec");
    log.line("after");
    EXPECT_EQ(log.flush(), "");
    const std::string before = "first\nsec\n2 entries lost: File too large\nafter\n";
    EXPECT_EQ(folder.read("a.log"), before);
    fill(before.size() + 24 + 7, true);  // one goes in
    log.entry("again");
    EXPECT_EQ(log.flush(), "");
    EXPECT_EQ(without_times(folder.read("a.log")),
              before + "TIME\nsecond\nTIME\n1 entry lost: File too large\nTIME\nagain\n");
}

TEST(LogFile, IsMadeAnewWhenItWasMovedOrRemoved) {
    const support::TempFolder folder;
    const auto path = folder.path() / "log" / "a.log";
    LogFile log({.path = path});
    for (const bool removed : {false, true}) {
        log.line("before");
        log.flush();
        if (removed)
            std::filesystem::remove_all(path.parent_path());
        else
            std::filesystem::rename(path, folder.path() / "moved.log");
        EXPECT_EQ(log.flush(), "");
        EXPECT_TRUE(std::filesystem::exists(path));
        log.line("after");
        EXPECT_EQ(log.flush(), "");
        EXPECT_EQ(folder.read("log/a.log"), "after\n");
    }
    EXPECT_EQ(folder.read("moved.log"), "before\n");
    std::filesystem::rename(path, folder.path() / "moved.log");
    std::filesystem::copy(folder.path() / "moved.log", path);  // as large
    std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now());
    log.line("again");
    EXPECT_EQ(log.flush(), "");
    EXPECT_EQ(folder.read("log/a.log"), "after\nagain\n");
}

}  // namespace
}  // namespace hsms
