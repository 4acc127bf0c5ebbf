#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qstr.h"

namespace Talwen {
namespace {

TEST(Strings, CompareWordsWithoutTheBlanksRoundThem) {
    const struct {
        const char *a, *b;
        bool same, same_word;
    } cases[] = {
        {"LOCAL", "LOCAL", true, true},     {"LOCAL", "local", false, false},
        {"LOCAL", " LOCAL\t", false, true}, {"LOCAL", "LOCAL2", false, false},
        {"", " \r\n", false, true},         {"A B", "AB", false, false},
        {nullptr, "", true, true},          {"\xE4\xB8", "\xE4\xB8", true, true},
    };
    for (const auto& [a, b, same, same_word] : cases) {
        EXPECT_EQ(QStr_Compare(a, b), same) << "|" << b;
        EXPECT_EQ(QStr_Compare_L(a, b), same_word) << "|" << b;
    }
    EXPECT_TRUE(QStr_Compare("T3_PRM", "T3", 2));
    EXPECT_FALSE(QStr_Compare("T", "T3", 2));
    EXPECT_TRUE(QStr_Compare_L("  T3_PRM", "T3", 2));
    EXPECT_TRUE(QStr_Find_SubString_L("alarm text", " text "));
    EXPECT_FALSE(QStr_Find_SubString("alarm text", " text "));
}

TEST(Strings, ReadStreamAndFunction) {
    const auto read = [](const char* text) {
        unsigned char stream = 77;
        unsigned char function = 88;
        const bool good = QStr_Check_SxxFxx(text, &stream, &function);
        EXPECT_TRUE(good || (stream == 77 && function == 88)) << text;
        return good ? std::to_string(stream) + " " + std::to_string(function) : "refused";
    };
    const std::pair<const char*, const char*> good[] = {
        {"S1F13", "1 13"}, {"S01F03", "1 3"}, {"S2F105", "2 105"}, {"S127F255", "127 255"}, {"S0F0", "0 0"},
    };
    for (const auto& [text, numbers] : good) EXPECT_EQ(read(text), numbers);
    for (const char* bad : {"S128F1", "S1F256", "s1f1", "S1F1 ", " S1F1", "SF1", "S1F", "S1", "S1F1x", "",
                            "S-1F1", "S0001F1", "S1F1|A", static_cast<const char*>(nullptr)})
        EXPECT_EQ(read(bad), "refused") << bad;
}

TEST(Strings, ReadIntegers) {
    for (const char* good : {"0", "-1", "+12", "99999999999999"}) EXPECT_NE(QStr_Int_Check(good), 0) << good;
    for (const char* bad : {"", "-", "1 ", " 1", "1.0", "0x1"}) EXPECT_EQ(QStr_Int_Check(bad), 0) << bad;
    const struct {
        const char* text;
        int start, count, number;
    } cases[] = {
        {"2025010112", 0, 4, 2025}, {"2025010112", 4, 2, 1},
        {"2025010112", 8, 3, 0},    {"2025010112", 11, 1, 0},
        {"ab-7", 2, 2, -7},         {"abcd", 0, 4, 0},
        {"12", -1, 1, 0},           {"99999999999", 0, 11, 2147483647},
    };
    for (const auto& [text, start, count, number] : cases)
        EXPECT_EQ(QStr_Ext_Int_From_Str(text, start, count), number) << text;
}

TEST(Strings, CutToTheBuffer) {
    char out[8];
    const auto copy = [&out](const char* text, int size) {
        std::memset(out, 'x', sizeof out);
        const bool whole = QStr_Copy_Stack(out, text, size);
        return std::string(out, strnlen(out, sizeof out)) + (whole ? "|whole" : "|cut");
    };
    EXPECT_EQ(copy("abc", 4), "abc|whole");
    EXPECT_EQ(copy("abcd", 4), "abc|cut");
    EXPECT_EQ(copy("abcd", 1), "|cut");
    EXPECT_EQ(copy("a", 0), "xxxxxxxx|cut");  // nothing is written
    const auto extract = [&out](int start, int count) {
        QStr_Ext_Str_From_Str("S06F11", start, count, out);
        return std::string(out);
    };
    EXPECT_EQ(extract(1, 2) + "|" + extract(4, 7) + "|" + extract(9, 2), "06|11|");
}

TEST(Strings, SplitAndTrimStrings) {
    const auto halves = [](const char* text) { return QStr_Left(text, '=') + "|" + QStr_Right(text, '='); };
    EXPECT_EQ(halves("a=b=c") + " " + halves("abc") + " " + halves("abc="), "a|b=c abc|abc abc|");
    std::string text = "\t a b \t";
    QStr_Del_TailSpace(text);
    EXPECT_EQ(text, "\t a b");
    QStr_Trimed(text);
    EXPECT_EQ(text, "a b");
    text = "\"a\"b\"";
    QStr_Remove(text, '"');
    QStr_Replace(text, 'a', 'b');
    EXPECT_EQ(text, "bb");
}

constexpr char white_space = 13;

TEST(Strings, SeparateFields) {
    using Fields = std::vector<std::string>;
    const struct {
        const char* text;
        char mark;
        int size;
        Fields fields;
    } cases[] = {
        {"N|A|B|C|D|E", '|', 16, {"N", "A", "B", "C|D|E"}},  // the last output is all that is left
        {"N", '|', 16, {"N", "", "", ""}},
        {"", '|', 16, {"", ""}},
        {"|A|", '|', 16, {"", "A", ""}},
        {"a  b | c ", '|', 16, {"a  b ", " c "}},  // blanks stand where the mark is no white space
        {"ALARM_POST_X", '_', 16, {"ALARM", "POST_X"}},
        {"1001\t PM1.Door \t 4  0 a  b \r", white_space, 16, {"1001", "PM1.Door", "4", "0", "a  b"}},
        {" \t ", white_space, 16, {"", "", ""}},
        {"abcdef ghijkl", white_space, 4, {"abc", "ghi"}},
        {"abcdef|ghi", '|', 1, {"", ""}},
    };
    for (const auto& [text, mark, size, fields] : cases) {
        char o[5][16] = {"?", "?", "?", "?", "?"};
        switch (fields.size()) {
            case 2: QStr_Seperate_Char(text, mark, o[0], o[1], size); break;
            case 3: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], size); break;
            case 4: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], size); break;
            default: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], o[4], size); break;
        }
        EXPECT_EQ(Fields(o, o + fields.size()), fields) << text;
    }
    std::string o1, o2, o3;
    QStr_Seperate_Char(std::string("1 two 3 4"), white_space, o1, o2, o3, 3);
    EXPECT_EQ(o1 + "," + o2 + "," + o3, "1,tw,3 ");
    char line[16] = "  STATE \t1|CM 1";
    char first[16];
    QStr_Seperate(line, first, line, 16);  // callers split a buffer into itself
    EXPECT_EQ(std::string(first) + "," + line, "STATE,1|CM 1");
}

}  // namespace
}  // namespace Talwen
