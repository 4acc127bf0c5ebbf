#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qanal.h"
#include "fa/framework/qfile.h"
#include "sim/file_layer.h"
#include "tests/support/temp_folder.h"

namespace Talwen {
namespace {

class LineReader : public testing::Test {
  protected:
    LineReader() { sim::set_data_folder(folder.path()); }

    std::FILE* open(const std::string& content) {
        folder.put("Z/FA/x.cfg", content);
        return QFile_Open("Z:\\FA\\x.cfg", "r");
    }

    /// The lines as a loader sees them: the last call, which returns false, gives one too.
    std::vector<std::string> read_all(const std::string& content) {
        std::FILE* file = open(content);
        std::vector<std::string> lines;
        bool more = true;
        while (more) {
            std::array<char, 1024> line;
            line.fill('?');
            int length = -1;
            more = QAnal_Get_Line_String_From_File(file, line.data(), &length);
            lines.emplace_back(line.data(), static_cast<std::size_t>(length));
        }
        EXPECT_EQ(QFile_Close(file), 0);
        return lines;
    }

    support::TempFolder folder;
};

TEST_F(LineReader, LineEndsBlanksAndComments) {
    using Lines = std::vector<std::string>;
    const struct {
        std::string content;
        Lines lines;
    } cases[] = {
        {"", {""}},
        {"A 1\nB 2\n", {"A 1", "B 2", ""}},
        {"A 1\nB 2", {"A 1", "B 2"}},
        {"A 1\r\n\r\nB 2\r\n", {"A 1", "", "B 2", ""}},
        {"A\rB\r\r\nC\r", {"A\rB\r", "C\r"}},  // a CR is a line end only before a LF
        {"# head\n  # text\n \t \nA", {"", "  # text", "", "A"}},
        {"\xEF\xBB\xBF# head\nA\n", {"", "A", ""}},
        {"\xEF\xBB\xBFKEY 1\n\xEF\xBB\xBFKEY\n",
         {"KEY 1", "\xEF\xBB\xBFKEY", ""}},  // a mark at the start only
        {"\xEF\xBBKEY\n", {"\xEF\xBBKEY", ""}},
        {std::string("A\0B\nC\n", 6), {std::string("A\0B", 3), "C", ""}},
        {"\xE7\x94\xB5\xE6\xBA\x90 1\n", {"\xE7\x94\xB5\xE6\xBA\x90 1", ""}},
    };
    for (const auto& c : cases) EXPECT_EQ(read_all(c.content), c.lines) << c.content;
}

TEST_F(LineReader, FillsTheBufferToItsLastByteFrom1024BytesOn) {
    const struct {
        std::size_t written;
        int length;
        bool fills;
    } cases[] = {{1022, 1022, false}, {1023, 1023, false}, {1024, 1024, true}, {1100, 1024, true}};
    for (const auto& c : cases) {
        std::FILE* file = open(std::string(c.written, 'x') + "\r\nNEXT\n");
        std::array<char, 1026> line{};
        line[1024] = line[1025] = '!';
        int length = -1;
        EXPECT_TRUE(QAnal_Get_Line_String_From_File(file, line.data(), &length));
        EXPECT_EQ(length, c.length) << c.written;
        EXPECT_EQ(line[1023] != '\0', c.fills) << c.written;
        EXPECT_EQ(std::string(&line[1024], 2), "!!") << "written past the buffer";
        EXPECT_TRUE(QAnal_Get_Line_String_From_File(file, line.data(), &length));
        EXPECT_EQ(std::string(line.data(), static_cast<std::size_t>(length)), "NEXT")
            << "the rest is dropped";
        QFile_Close(file);
    }
}

TEST_F(LineReader, BufferOfTheCallersSize) {
    std::FILE* file = open("# a comment longer than the buffer\nABCD\nABC\n");
    std::array<char, 5> line{};
    line[4] = '!';
    int length = -1;
    EXPECT_TRUE(QAnal_Get_Line_String_From_File2(file, line.data(), 4, &length));
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(QAnal_Get_Line_String_From_File2(file, line.data(), 4, &length));
    EXPECT_EQ(std::string(line.data(), 5), "ABCD!");
    EXPECT_TRUE(QAnal_Get_Line_String_From_File2(file, line.data(), 4, &length));
    EXPECT_STREQ(line.data(), "ABC");
    QFile_Close(file);
}

}  // namespace
}  // namespace Talwen
