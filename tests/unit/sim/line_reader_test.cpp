#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qanal.h"
#include "fa/framework/qfile.h"
#include "sim/controller/file_layer.h"
#include "tests/support/temp_folder.h"

namespace Talwen {
namespace {

using Lines = std::vector<std::string>;

class LineReader : public testing::Test {
  protected:
    LineReader() { sim::set_data_folder(folder.path()); }
    ~LineReader() override { sim::close_open_files(); }

    std::FILE* open(const std::string& content) {
        folder.put("Z/x.cfg", content);
        return QFile_Open("Z:\\x.cfg", "r");
    }

    support::TempFolder folder;
};

// As a loader sees them: the last call, which returns false, gives one too.
TEST_F(LineReader, LineEndsBlanksAndComments) {
    const std::pair<std::string, Lines> cases[] = {
        {"", {""}},
        {"A 1\nB 2\n", {"A 1", "B 2", ""}},
        {"A 1\nB 2", {"A 1", "B 2"}},
        {"A 1\r\n\r\nB 2\r\n", {"A 1", "", "B 2", ""}},
        {"A\rB\r\r\nC\r", {"A\rB\r", "C\r"}},  // a CR is a line end only before a LF
        {"# head\n  # text\n \t \nA", {"", "  # text", "", "A"}},
        {"\xEF\xBB\xBF# head\nA\n", {"", "A", ""}},
        {"\xEF\xBB\xBFK\n\xEF\xBB\xBFK\n", {"K", "\xEF\xBB\xBFK", ""}},  // a mark at the start only
        {"\xEF\xBBKEY\n", {"\xEF\xBBKEY", ""}},
        {std::string("A\0B\nC\n", 6), {std::string("A\0B", 3), "C", ""}},
    };
    for (const auto& [content, lines] : cases) {
        std::FILE* file = open(content);
        Lines got;
        for (bool more = true; more;) {
            std::array<char, 1024> line;
            line.fill('?');
            int length = -1;
            more = QAnal_Get_Line_String_From_File(file, line.data(), &length);
            got.emplace_back(line.data(), static_cast<std::size_t>(length));
        }
        EXPECT_EQ(got, lines) << content;
    }
}

TEST_F(LineReader, FillsTheBufferToItsLastByte) {
    const struct {
        std::string text;
        int size, length;
    } cases[] = {
        {std::string(1023, 'x'), 1024, 1023},
        {std::string(1024, 'x'), 1024, 1024},
        {std::string(1100, 'x'), 1024, 1024},
        {"abc", 4, 3},
        {"abcde", 4, 4},
        {"# more than the buffer", 4, 0},
    };
    for (const auto& c : cases) {
        std::FILE* file = open(c.text + "\r\nEND\n");
        std::string line(1100, '!');
        int length = -1;
        const auto next = [&] {
            EXPECT_TRUE(c.size == 1024
                            ? QAnal_Get_Line_String_From_File(file, line.data(), &length)
                            : QAnal_Get_Line_String_From_File2(file, line.data(), c.size, &length));
            return line.substr(0, static_cast<std::size_t>(length));
        };
        EXPECT_EQ(next(), c.text.substr(0, static_cast<std::size_t>(c.length)));
        EXPECT_EQ(line[static_cast<std::size_t>(c.length)], c.length < c.size ? '\0' : '!') << c.text;
        EXPECT_EQ(line[static_cast<std::size_t>(c.size)], '!') << "written past the buffer";
        EXPECT_EQ(next(), "END") << "the rest is dropped";
    }
}

}  // namespace
}  // namespace Talwen
