#include "sml/cursor.h"

#include <algorithm>
#include <utility>

namespace sml {
namespace {

constexpr std::string_view blanks = " \t\r\n\f\v";
constexpr std::string_view word_ends = " \t\r\n\f\v<>[]\"'/#";
constexpr std::size_t longest_found = 24;  // characters of the offending word that a message shows

bool is_alphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

std::string describe_byte(char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n' || c == '\r') return "end of line";
    if (byte > 0x20 && byte < 0x7F) return std::string("'") + c + "'";
    return std::string("byte 0x") + digits[byte >> 4U] + digits[byte & 0xFU];
}

}  // namespace

SyntaxError::SyntaxError(Place where, std::string expected_text, std::string found_text, bool at_end)
    : std::runtime_error(std::to_string(where.line) + ":" + std::to_string(where.column) + ": expected " +
                         expected_text + ", found " + found_text),
      place(where),
      expected(std::move(expected_text)),
      found(std::move(found_text)),
      incomplete(at_end) {}

bool Cursor::skip_comment() {
    if (starts("#") || starts("//")) {
        offset_ = std::min(text_.find('\n', offset_), text_.size());
        return true;
    }
    if (!starts("/*")) return false;
    const std::size_t end = text_.find("*/", offset_ + 2);
    if (end == std::string_view::npos) fail_at(text_.size(), "*/ to end the comment");
    offset_ = end + 2;
    return true;
}

void Cursor::skip_blanks() {
    do {
        offset_ = std::min(text_.find_first_not_of(blanks, offset_), text_.size());
    } while (skip_comment());
}

bool Cursor::at_end() {
    skip_blanks();
    return offset_ == text_.size();
}

char Cursor::peek() {
    return at_end() ? '\0' : text_[offset_];
}

bool Cursor::take(char c) {
    if (at_end() || text_[offset_] != c) return false;
    ++offset_;
    return true;
}

bool Cursor::take(std::string_view literal) {
    skip_blanks();
    if (!starts(literal)) return false;
    offset_ += literal.size();
    return true;
}

std::string_view Cursor::word() {
    skip_blanks();
    const std::size_t start = offset_;
    offset_ = std::min(text_.find_first_of(word_ends, start), text_.size());
    return text_since(start);
}

std::string_view Cursor::name() {
    skip_blanks();
    const std::size_t start = offset_;
    while (offset_ < text_.size() && is_alphanumeric(text_[offset_])) ++offset_;
    return text_since(start);
}

std::string_view Cursor::quoted(char quote) {
    const std::size_t start = offset_;
    while (offset_ < text_.size() && text_[offset_] != quote) {
        if (text_[offset_] == '\n' || text_[offset_] == '\r') fail_at(offset_, "a closing quote");
        ++offset_;
    }
    if (offset_ == text_.size()) fail_at(offset_, "a closing quote");
    const std::string_view content = text_since(start);
    ++offset_;
    return content;
}

std::string_view Cursor::rest_of_line() {
    const std::size_t start = offset_;
    offset_ = std::min(text_.find_first_of("\r\n", start), text_.size());
    return text_since(start);
}

bool Cursor::take_raw(std::size_t length, char quote, std::string_view& raw) {
    const std::string_view rest = text_.substr(offset_);
    if (length >= rest.size() || rest[length] != quote) return false;
    const std::size_t next = rest.find_first_not_of(blanks, length + 1);
    if (next == std::string_view::npos || rest[next] != '>') return false;
    raw = rest.substr(0, length);
    offset_ += length + 1;
    return true;
}

std::string Cursor::describe(std::size_t offset) const {
    if (offset >= text_.size()) return "end of text";
    std::size_t end = std::min(text_.find_first_of(word_ends, offset), text_.size());
    const bool printable = std::all_of(text_.begin() + static_cast<std::ptrdiff_t>(offset),
                                       text_.begin() + static_cast<std::ptrdiff_t>(end),
                                       [](char c) { return c > 0x20 && c < 0x7F; });
    if (end == offset || !printable) return describe_byte(text_[offset]);
    const bool cut = end - offset > longest_found;
    end = std::min(end, offset + longest_found);
    return "'" + std::string(text_.substr(offset, end - offset)) + (cut ? "..." : "") + "'";
}

Place Cursor::place_of(std::size_t offset) const {
    const std::string_view before = text_.substr(0, offset);
    const std::size_t line_start = before.rfind('\n') + 1;  // npos + 1 is 0
    Place place;
    place.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    for (const char c : before.substr(line_start))
        if (!continues_character(c)) ++place.column;
    return place;
}

void Cursor::fail(std::string expected) {
    skip_blanks();
    fail_at(offset_, std::move(expected));
}

void Cursor::fail_at(std::size_t offset, std::string expected) const {
    throw SyntaxError(place_of(offset), std::move(expected), describe(offset), offset >= text_.size());
}

void Cursor::fail_at(std::size_t offset, std::string expected, std::string found) const {
    throw SyntaxError(place_of(offset), std::move(expected), std::move(found), false);
}

}  // namespace sml
