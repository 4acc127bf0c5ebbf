#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qstr.h"

namespace Talwen {
namespace {

TEST(Strings, SeparateAndCutFields) {
    constexpr char blank = 13;  // separates at white space
    const struct {
        const char* text;
        char mark;
        int size;
        std::vector<std::string> fields;
    } cases[] = {
        {"N|A|B|C|D|E", '|', 16, {"N", "A", "B", "C|D|E"}},  // the last output is all that is left
        {"N", '|', 16, {"N", "", "", ""}},
        // Blanks are kept where the mark is no white space.
        {"|a  b | c ", '|', 16, {"", "a  b ", " c ", ""}},
        {"1001\t PM1.Door \t 4  0 a  b \r", blank, 16, {"1001", "PM1.Door", "4", "0", "a  b"}},
        {"abcdef ghijkl", blank, 4, {"abc", "ghi", "", ""}},
        {"abcdef|ghi", '|', 1, {"", "", "", ""}},
    };
    for (const auto& [text, mark, size, fields] : cases) {
        char o[5][16] = {"?", "?", "?", "?", "?"};
        if (fields.size() == 4) QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], size);
        if (fields.size() == 5) QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], o[4], size);
        EXPECT_EQ(std::vector<std::string>(o, o + fields.size()), fields) << text;
    }
    char line[16] = "  STATE \t1|CM 1", first[16];
    QStr_Seperate(line, first, line, 16);  // callers split a buffer into itself
    EXPECT_EQ(std::string(first) + "," + line, "STATE,1|CM 1");
    char out[8] = "xxxxxxx";
    EXPECT_FALSE(QStr_Copy_Stack(out, "a", 0) || QStr_Copy_Stack(out, "abcd", 4));
    EXPECT_EQ(std::string(out) + out[4], "abcx");
    EXPECT_EQ(QStr_Ext_Int_From_Str("99999999999", 0, 11), 2147483647);
}

}  // namespace
}  // namespace Talwen
