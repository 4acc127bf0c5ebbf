#include "sim/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace sim {

namespace {

template <class Number>
std::string number_text(Number value) {
    std::array<char, 32> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), written.ptr};
}

template <class Number>
std::optional<Number> read_number(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    Number value{};
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

std::string_view take_word(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(white_space), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(white_space));
    text.remove_prefix(word.size());
    text.remove_prefix(std::min(text.find_first_not_of(white_space), text.size()));
    return word;
}

bool copy_cut(char* out, std::string_view text, int size) {
    if (size < 1) return false;
    const std::size_t room = static_cast<std::size_t>(size) - 1;
    const std::size_t length = std::min(text.size(), room);
    if (length > 0) std::memmove(out, text.data(), length);
    out[length] = '\0';
    return length == text.size();
}

std::string vformat(const char* format, std::va_list arguments) {
    std::array<char, 512> buffer;
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    std::string text;
    if (length >= 0 && static_cast<std::size_t>(length) < buffer.size()) {
        text.assign(buffer.data(), static_cast<std::size_t>(length));
    } else if (length >= 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

std::string to_text(int value) {
    return number_text(value);
}
std::string to_text(double value) {
    return number_text(value);
}

std::optional<int> read_int(std::string_view text) {
    return read_number<int>(text);
}
std::optional<double> read_double(std::string_view text) {
    return read_number<double>(text);
}

std::string one_line(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char c : text) {
        if (c == '\n') {
            line += "\\n";
        } else if (c == '\r') {
            line += "\\r";
        } else {
            line += c;
        }
    }
    return line;
}

}  // namespace sim
