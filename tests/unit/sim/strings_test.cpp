#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fa/framework/qstr.h"

namespace Talwen {
namespace {

TEST(Strings, CompareWordsWithoutTheBlanksRoundThem) {
    struct {
        const char *a, *b;
        bool same, same_word;
    } const cases[] = {
        {"LOCAL", "LOCAL", true, true},     {"LOCAL", "local", false, false},
        {"LOCAL", " LOCAL\t", false, true}, {"LOCAL", "LOCAL2", false, false},
        {"", " \r\n", false, true},         {"A B", "AB", false, false},
        {nullptr, "", true, true},          {"\xE4\xB8", "\xE4\xB8", true, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QStr_Compare(c.a, c.b), c.same) << (c.a ? c.a : "null") << "|" << c.b;
        EXPECT_EQ(QStr_Compare_L(c.a, c.b), c.same_word) << (c.a ? c.a : "null") << "|" << c.b;
    }
    EXPECT_TRUE(QStr_Compare("T3_PRM", "T3", 2));
    EXPECT_FALSE(QStr_Compare("T", "T3", 2));
    EXPECT_TRUE(QStr_Compare_L("  T3_PRM", "T3", 2));
    EXPECT_TRUE(QStr_Find_SubString_L("alarm text", " text "));
    EXPECT_FALSE(QStr_Find_SubString("alarm text", " text "));
}

TEST(Strings, ReadStreamAndFunction) {
    struct {
        const char* text;
        int stream, function;  // -1: refused
    } const cases[] = {
        {"S1F13", 1, 13},  {"S01F03", 1, 3},   {"S2F105", 2, 105}, {"S127F255", 127, 255}, {"S0F0", 0, 0},
        {"S128F1", -1, 0}, {"S1F256", -1, 0},  {"s1f1", -1, 0},    {"S1F1 ", -1, 0},       {" S1F1", -1, 0},
        {"SF1", -1, 0},    {"S1F", -1, 0},     {"S1", -1, 0},      {"S1F1x", -1, 0},       {"", -1, 0},
        {"S-1F1", -1, 0},  {"S0001F1", -1, 0}, {"S1F1|A", -1, 0},  {nullptr, -1, 0},
    };
    for (const auto& c : cases) {
        unsigned char stream = 77;
        unsigned char function = 88;
        const bool good = QStr_Check_SxxFxx(c.text, &stream, &function);
        EXPECT_EQ(good, c.stream >= 0) << c.text;
        EXPECT_EQ(stream, good ? c.stream : 77) << c.text;
        EXPECT_EQ(function, good ? c.function : 88) << c.text;
    }
}

TEST(Strings, ReadIntegers) {
    for (const char* good : {"0", "-1", "+12", "99999999999999"}) EXPECT_NE(QStr_Int_Check(good), 0) << good;
    for (const char* bad : {"", "-", "1 ", " 1", "1.0", "0x1", "--1"})
        EXPECT_EQ(QStr_Int_Check(bad), 0) << bad;

    struct {
        const char* text;
        int start, count, number;
    } const cases[] = {
        {"2025010112", 0, 4, 2025}, {"2025010112", 4, 2, 1},
        {"2025010112", 8, 3, 0},    {"2025010112", 11, 1, 0},
        {"ab-7", 2, 2, -7},         {"abcd", 0, 4, 0},
        {"12", -1, 1, 0},           {"99999999999", 0, 11, 2147483647},
    };
    for (const auto& c : cases)
        EXPECT_EQ(QStr_Ext_Int_From_Str(c.text, c.start, c.count), c.number) << c.text;
}

TEST(Strings, CutToTheBuffer) {
    std::array<char, 8> out;
    const auto copy = [&out](const char* text, int size) {
        out.fill('x');
        const bool whole = QStr_Copy_Stack(out.data(), text, size);
        return std::string(out.data(), strnlen(out.data(), out.size())) + (whole ? "|whole" : "|cut");
    };
    EXPECT_EQ(copy("abc", 4), "abc|whole");
    EXPECT_EQ(copy("abcd", 4), "abc|cut");
    EXPECT_EQ(copy("abcd", 1), "|cut");
    EXPECT_EQ(copy("", 1), "|whole");
    EXPECT_EQ(copy("a", 0), "xxxxxxxx|cut");  // nothing is written

    const auto extract = [&out](const char* text, int start, int count) {
        QStr_Ext_Str_From_Str(text, start, count, out.data());
        return std::string(out.data());
    };
    EXPECT_EQ(extract("S06F11", 1, 2), "06");
    EXPECT_EQ(extract("S06F11", 4, 7), "11");
    EXPECT_EQ(extract("S06F11", 9, 2), "");
}

TEST(Strings, SplitAndTrimStrings) {
    EXPECT_EQ(QStr_Left("a=b=c", '='), "a");
    EXPECT_EQ(QStr_Right("a=b=c", '='), "b=c");
    EXPECT_EQ(QStr_Left("abc", '='), "abc");
    EXPECT_EQ(QStr_Right("abc", '='), "abc");
    EXPECT_EQ(QStr_Right("abc=", '='), "");
    std::string text = "\t a b \t";
    QStr_Del_TailSpace(text);
    EXPECT_EQ(text, "\t a b");
    QStr_Trimed(text);
    EXPECT_EQ(text, "a b");
    text = " \t ";
    QStr_Trimed(text);
    EXPECT_EQ(text, "");
    text = "\"a\"b\"";
    QStr_Remove(text, '"');
    EXPECT_EQ(text, "ab");
    QStr_Replace(text, 'a', 'b');
    EXPECT_EQ(text, "bb");
}

constexpr char white_space = 13;

std::vector<std::string> split(const char* text, char mark, int fields, int size) {
    char o[5][16] = {"?", "?", "?", "?", "?"};
    switch (fields) {
        case 2: QStr_Seperate_Char(text, mark, o[0], o[1], size); break;
        case 3: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], size); break;
        case 4: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], size); break;
        default: QStr_Seperate_Char(text, mark, o[0], o[1], o[2], o[3], o[4], size); break;
    }
    return {o, o + fields};
}

TEST(Strings, SeparateFields) {
    using Fields = std::vector<std::string>;
    struct {
        const char* text;
        char mark;
        int size;
        Fields fields;
    } const cases[] = {
        {"N|A|B|C", '|', 16, {"N", "A", "B", "C"}},
        {"N|A|B|C|D|E", '|', 16, {"N", "A", "B", "C|D|E"}},  // the last output is all that is left
        {"N", '|', 16, {"N", "", "", ""}},
        {"", '|', 16, {"", ""}},
        {"|A|", '|', 16, {"", "A", ""}},
        {"a  b ", '|', 16, {"a  b ", ""}},  // blanks stand where the mark is no white space
        {"S6F11|1,2", '|', 16, {"S6F11", "1,2"}},
        {"ALARM_POST_X", '_', 16, {"ALARM", "POST_X"}},
        {"1001\t PM1.Door \t 4  0 a  b \r", white_space, 16, {"1001", "PM1.Door", "4", "0", "a  b"}},
        {"  key   value  ", white_space, 16, {"key", "value"}},
        {" \t ", white_space, 16, {"", "", ""}},
        {"abcdef ghijkl", white_space, 4, {"abc", "ghi"}},
        {"abcdef|ghi", '|', 1, {"", ""}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(split(c.text, c.mark, static_cast<int>(c.fields.size()), c.size), c.fields) << c.text;
    }
    std::string o1, o2, o3;
    QStr_Seperate_Char(std::string("1 two 3 4"), white_space, o1, o2, o3, 3);
    EXPECT_EQ(o1 + "," + o2 + "," + o3, "1,tw,3 ");
}

TEST(Strings, SeparateCommandFromArguments) {
    char first[16];
    char rest[16];
    QStr_Seperate("  PORT_STATE \t1|CM 1", first, rest, 16);
    EXPECT_STREQ(first, "PORT_STATE");
    EXPECT_STREQ(rest, "1|CM 1");
    char line[16] = "a b c";  // callers split a buffer into itself
    QStr_Seperate(line, first, line, 16);
    EXPECT_STREQ(line, "b c");
}

}  // namespace
}  // namespace Talwen
