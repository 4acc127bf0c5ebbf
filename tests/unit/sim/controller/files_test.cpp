#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <string>

#include "fa/framework/qanal.h"
#include "fa/framework/qfile.h"
#include "fa/framework/qstr.h"
#include "sim/controller/file_layer.h"
#include "tests/support/temp_folder.h"

namespace Talwen {
namespace {

class Files : public testing::Test {
  protected:
    Files() { sim::set_data_folder(folder.path()); }
    ~Files() override { sim::close_open_files(); }

    std::string names(const char* below) const {
        std::set<std::string> list;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path() / below))
            list.insert(entry.path().filename().string() + " ");
        return std::accumulate(list.begin(), list.end(), std::string());
    }

    support::TempFolder folder;
};

TEST_F(Files, PathsStayInsideTheDataFolder) {
    // The path below the data folder; null: no path of the controller's.
    const std::pair<const char*, const char*> cases[] = {
        {"j:\\Talwen/Config\\FA", "J/Talwen/Config/FA"},
        {"Z:\\..\\..\\etc\\passwd", "Z/etc/passwd"},
        {"Z:\\FA\\\\.\\..\\\xE6\x96\x87 1", "Z/\xE6\x96\x87 1"},
        {"/etc/passwd", nullptr}};
    for (const auto& [path, mapped] : cases)
        EXPECT_EQ(sim::map_path(path), mapped == nullptr ? std::filesystem::path() : folder.path() / mapped);
}

TEST_F(Files, ContentChangesAtTheCloseAndNotBefore) {
    const std::array<const char*, 3> cases[] = {
        {"w+", "new", "new"}, {"a", "+new", "old+new"}, {"r+", "O", "Old"}, {"w", "never closed", "old"}};
    for (const auto& [mode, text, content] : cases) {
        folder.put("Z/FA/a", "old");
        std::FILE* file = QFile_Open("Z:\\FA\\a", mode);
        std::fputs(text, file);
        std::fflush(file);
        EXPECT_EQ(folder.read("Z/FA/a"), "old") << mode;
        EXPECT_EQ(content == std::string("old") ? 0 : QFile_Close(file), 0) << mode;
        sim::close_open_files();
        EXPECT_EQ(folder.read("Z/FA/a"), content) << mode;
        EXPECT_EQ(names("Z/FA"), "a ") << "nothing is left beside it";
    }
}

TEST_F(Files, WhatAKilledProcessLeftIsRemoved) {
    for (const char* name : {"Z/FA/a.new-12-3", "Z/FA/a.new-12", "Z/a.new-1-1", "log/a.new-1-1"})
        folder.put(name, "x");
    sim::remove_unfinished_files();
    EXPECT_EQ(names("Z") + names("Z/FA") + names("log"), "FA a.new-12 a.new-1-1 ");
}

TEST_F(Files, RefusedWithAnErrorText) {
    folder.put("Z/FA/a", "x");
    const std::array<const char*, 3> cases[] = {{"Z:\\none", "r+", "No such file or directory"},
                                                {"Z:\\FA", "r", "Is a directory"},
                                                {"Z:\\FA", "w", "Is a directory"},
                                                {"Z:\\FA\\a\\b", "w", "Not a directory"},
                                                {"a", "r", "Invalid argument"}};
    for (const auto& [path, mode, error] : cases) {
        EXPECT_EQ(QFile_Open(path, mode), nullptr) << path;
        EXPECT_STREQ(QStr_Get_SysErrMsg(), error) << path << " " << mode;
    }
    std::FILE* file = QFile_Open("Z:\\b", "w");
    EXPECT_TRUE(QFile_Create_Folder("Z:\\b\\in-the-way"));
    EXPECT_EQ(QFile_Close(file) + QFile_Close(nullptr), 2 * EOF);
    EXPECT_EQ(names("Z"), "FA b ") << "what was written is gone";
    EXPECT_FALSE(QFile_Check_File_Exist("Z:\\b") || QFile_Create_Folder("Z:\\FA\\a"));
}

// As a loader sees them: the last call, which returns false, gives a line too.
TEST_F(Files, LinesAreReadWithoutTheirEndsAndComments) {
    const struct {
        std::string content, lines;
        int size = 1024;
    } cases[] = {
        {"A 1\r\n\r\nB 2", "A 1||B 2|"},
        {"A\rB\r\r\nC\r", "A\rB\r|C\r|"},  // a CR is a line end only before a LF
        {"# head\n  # text\n \t \nA", "|  # text||A|"},
        {"\xEF\xBB\xBF# head\n\xEF\xBB\xBFK\n", "|\xEF\xBB\xBFK||"},  // a mark at the start only
        {std::string("A\0B\nC\n", 6), std::string("A\0B|C||", 7)},
        {std::string(1100, 'x') + "\nA", std::string(1024, 'x') + "|A|"},  // the rest is dropped
        {"abc\nabcde\r\n# more\nA", "abc|abcd||A|", 4},
    };
    for (const auto& c : cases) {
        folder.put("Z/x.cfg", c.content);
        std::FILE* file = QFile_Open("Z:\\x.cfg", "r");
        std::string got;
        for (bool more = true; more;) {
            std::string line(1100, '!');
            int length = -1;
            more = c.size == 1024 ? QAnal_Get_Line_String_From_File(file, line.data(), &length)
                                  : QAnal_Get_Line_String_From_File2(file, line.data(), c.size, &length);
            got.append(line, 0, static_cast<std::size_t>(length)).append("|");
            EXPECT_EQ(line[static_cast<std::size_t>(length)], length < c.size ? '\0' : '!') << c.content;
            EXPECT_EQ(line[static_cast<std::size_t>(c.size)], '!') << "written past the buffer";
        }
        EXPECT_EQ(got, c.lines) << c.content;
    }
}

}  // namespace
}  // namespace Talwen
