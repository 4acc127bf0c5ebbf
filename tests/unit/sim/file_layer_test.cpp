#include "sim/controller/file_layer.h"

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

using Names = std::vector<std::string>;

class Files : public testing::Test {
  protected:
    Files() { sim::set_data_folder(folder.path()); }

    Names names(const char* below) const {
        Names list;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path() / below))
            list.push_back(entry.path().filename().string());
        std::ranges::sort(list);
        return list;
    }

    support::TempFolder folder;
};

TEST_F(Files, PathsStayInsideTheDataFolder) {
    // The path below the data folder; null: no path of the controller's.
    const std::pair<const char*, const char*> cases[] = {
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
    for (const auto& [path, mapped] : cases)
        EXPECT_EQ(sim::map_path(path), mapped == nullptr ? std::filesystem::path() : folder.path() / mapped)
            << (path == nullptr ? "null" : path);
}

TEST_F(Files, ContentChangesAtTheCloseAndNotBefore) {
    const struct {
        const char *mode, *text;
        bool closed;
        const char* content;
    } cases[] = {
        {"w+", "new", true, "new"},
        {"a", "+new", true, "old+new"},
        {"r+", "O", true, "Old"},
        {"w", "new", false, "old"},
    };
    for (const auto& c : cases) {
        folder.put("Z/FA/a", "old");
        std::FILE* file = QFile_Open("Z:\\FA\\a", c.mode);
        ASSERT_NE(file, nullptr) << c.mode;
        std::fputs(c.text, file);
        std::fflush(file);
        EXPECT_EQ(folder.read("Z/FA/a"), "old") << c.mode;
        EXPECT_EQ(sim::open_files(), Names{"Z:\\FA\\a"});
        EXPECT_EQ(c.closed ? QFile_Close(file) : 0, 0) << c.mode;
        sim::close_open_files();
        EXPECT_EQ(folder.read("Z/FA/a"), c.content) << c.mode;
        EXPECT_EQ(names("Z/FA"), Names{"a"}) << "nothing is left beside it";
        EXPECT_TRUE(sim::open_files().empty());
    }
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
    std::FILE* file = QFile_Open("Z:\\b", "w");
    ASSERT_NE(file, nullptr);
    std::filesystem::create_directories(folder.path() / "Z/b/in-the-way");
    EXPECT_EQ(QFile_Close(file), EOF);
    EXPECT_EQ(names("Z"), (Names{"FA", "b"})) << "what was written is gone";
}

TEST_F(Files, FoldersAreMadeWithThoseAboveThem) {
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(QFile_Create_Folder("J:\\Talwen\\Config\\FA"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "J/Talwen/Config/FA"));
    EXPECT_FALSE(QFile_Check_File_Exist("J:\\Talwen\\Config\\FA")) << "a folder is no file";
    folder.put("Z/FA", "a file in the way");
    EXPECT_TRUE(QFile_Check_File_Exist("Z:\\FA"));
    EXPECT_FALSE(QFile_Create_Folder("Z:\\FA"));
    EXPECT_STREQ(QStr_Get_SysErrMsg(), "Not a directory");
}

}  // namespace
}  // namespace Talwen
