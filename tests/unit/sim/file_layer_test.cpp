#include "sim/file_layer.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qfile.h"
#include "fa/framework/qstr.h"
#include "tests/support/temp_folder.h"

namespace Talwen {
namespace {

class Files : public testing::Test {
  protected:
    Files() { sim::set_data_folder(folder.path()); }

    std::vector<std::string> names(const char* below) const {
        std::vector<std::string> list;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path() / below)) {
            list.push_back(entry.path().filename().string());
        }
        std::ranges::sort(list);
        return list;
    }

    support::TempFolder folder;
};

TEST_F(Files, PathsStayInsideTheDataFolder) {
    const struct {
        const char* path;
        const char* mapped;  // below the data folder; null: no path of the controller's
    } cases[] = {
        {"Z:\\FA\\FA_SAVE.inf", "Z/FA/FA_SAVE.inf"},
        {"j:\\Talwen/Config\\FA", "J/Talwen/Config/FA"},
        {"Z:\\..\\..\\etc\\passwd", "Z/etc/passwd"},
        {"Z:\\FA\\..\\x", "Z/x"},
        {"Z:\\FA\\\\.\\x", "Z/FA/x"},
        {"Z:\\\xE6\x96\x87 1.cfg", "Z/\xE6\x96\x87 1.cfg"},
        {"/etc/passwd", nullptr},
        {"FA_SAVE.inf", nullptr},
        {"", nullptr},
        {nullptr, nullptr},
    };
    for (const auto& c : cases) {
        const auto expected = c.mapped == nullptr ? std::filesystem::path() : folder.path() / c.mapped;
        EXPECT_EQ(sim::map_path(c.path), expected) << (c.path == nullptr ? "null" : c.path);
    }
}

TEST_F(Files, NewContentReplacesTheOldAtTheCloseAndNotBefore) {
    folder.put("Z/FA/a.inf", "old");
    std::FILE* file = QFile_Open("Z:\\FA\\a.inf", "w+");
    ASSERT_NE(file, nullptr);
    std::fputs("new", file);
    std::fflush(file);
    EXPECT_EQ(folder.read("Z/FA/a.inf"), "old");
    EXPECT_EQ(sim::open_files(), std::vector<std::string>{"Z:\\FA\\a.inf"});
    EXPECT_EQ(QFile_Close(file), 0);
    EXPECT_EQ(folder.read("Z/FA/a.inf"), "new");
    EXPECT_EQ(names("Z/FA"), std::vector<std::string>{"a.inf"}) << "nothing is left beside it";
    EXPECT_TRUE(sim::open_files().empty());
}

TEST_F(Files, AppendingAndUpdatingStartFromTheOldContent) {
    folder.put("Z/a", "old");
    std::FILE* file = QFile_Open("Z:\\a", "a");
    std::fputs("+new", file);
    EXPECT_EQ(QFile_Close(file), 0);
    EXPECT_EQ(folder.read("Z/a"), "old+new");
    file = QFile_Open("Z:\\a", "r+");
    std::fputs("OLD", file);
    EXPECT_EQ(QFile_Close(file), 0);
    EXPECT_EQ(folder.read("Z/a"), "OLD+new");
}

TEST_F(Files, AFileLeftOpenKeepsTheOldContent) {
    folder.put("Z/a", "old");
    ASSERT_NE(QFile_Open("Z:\\a", "w"), nullptr);
    sim::close_open_files();
    EXPECT_EQ(folder.read("Z/a"), "old");
    EXPECT_EQ(names("Z"), std::vector<std::string>{"a"});
}

TEST_F(Files, RefusedWithAnErrorText) {
    folder.put("Z/FA/a", "x");
    const char* missing = "No such file or directory";
    const struct {
        const char *path, *mode, *error;
    } cases[] = {
        {"Z:\\none", "r", missing},        {"Z:\\none", "r+", missing},
        {"Z:\\none\\a", "w", missing},     {"Z:\\FA", "r", "Is a directory"},
        {"Z:\\FA", "w", "Is a directory"}, {"Z:\\FA\\a\\b", "w", "Not a directory"},
        {"a", "r", "Invalid argument"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QFile_Open(c.path, c.mode), nullptr) << c.path;
        EXPECT_STREQ(QStr_Get_SysErrMsg(), c.error) << c.path << " " << c.mode;
    }
    EXPECT_EQ(QFile_Close(nullptr), EOF);
}

TEST_F(Files, CloseReportsContentThatCouldNotTakeItsName) {
    std::FILE* file = QFile_Open("Z:\\a", "w");
    ASSERT_EQ(file, nullptr) << "there is no drive yet";
    ASSERT_TRUE(QFile_Create_Folder("Z:\\"));
    file = QFile_Open("Z:\\a", "w");
    ASSERT_NE(file, nullptr);
    std::filesystem::create_directories(folder.path() / "Z/a/in-the-way");
    EXPECT_EQ(QFile_Close(file), EOF);
    EXPECT_EQ(names("Z"), std::vector<std::string>{"a"}) << "what was written is gone";
}

TEST_F(Files, FoldersAreMadeWithThoseAboveThem) {
    EXPECT_TRUE(QFile_Create_Folder("J:\\Talwen\\Config\\FA"));
    EXPECT_TRUE(QFile_Create_Folder("J:\\Talwen\\Config\\FA")) << "it is there already";
    EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "J/Talwen/Config/FA"));
    EXPECT_FALSE(QFile_Check_File_Exist("J:\\Talwen\\Config\\FA")) << "a folder is no file";
    folder.put("Z/FA", "a file in the way");
    EXPECT_TRUE(QFile_Check_File_Exist("Z:\\FA"));
    EXPECT_FALSE(QFile_Create_Folder("Z:\\FA"));
    EXPECT_STREQ(QStr_Get_SysErrMsg(), "Not a directory");
}

}  // namespace
}  // namespace Talwen
