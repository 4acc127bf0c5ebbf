// Small text helpers shared by the simulated framework.
#pragma once

#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::string_view white_space = " \t\r\n";

/// A C string as a view; null counts as "".
inline std::string_view view(const char* text) {
    return text == nullptr ? std::string_view() : text;
}

/// The text without white space at both ends.
inline std::string_view trim(std::string_view text) {
    const std::size_t from = text.find_first_not_of(white_space);
    if (from == std::string_view::npos) return {};
    return text.substr(from, text.find_last_not_of(white_space) - from + 1);
}

/// Takes the first word off `text`, which keeps the rest without the white space before it.
std::string_view take_word(std::string_view& text);

/// Copies at most size - 1 bytes and a NUL (nothing for a size below 1); false when the text was cut.
/// `out` may lie inside the text.
bool copy_cut(char* out, std::string_view text, int size);

/// The text that printf would make.
std::string vformat(const char* format, std::va_list arguments);

/// Shortest decimal text that reads back as the same number.
std::string to_text(int value);
std::string to_text(double value);

/// The whole text as a number; nothing for anything else.
std::optional<int> read_int(std::string_view text);
std::optional<double> read_double(std::string_view text);

/// The text on one line: CR and LF become "\r" and "\n".
std::string one_line(std::string_view text);

}  // namespace sim
