// A reading position in SML or script text, which skips blanks and comments and reports errors by line and
// column.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sml {

/// A place in a text; both count from 1, columns in characters (a UTF-8 sequence is one).
struct Place {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// Text that does not follow the grammar. what() reads "LINE:COLUMN: expected ..., found ...".
struct SyntaxError : std::runtime_error {
    SyntaxError(Place where, std::string expected_text, std::string found_text, bool at_end);

    Place place;
    std::string expected;
    std::string found;
    bool incomplete;  ///< the text ended too early: with more text it may be right
};

/// Reads from a text that the caller keeps alive. Blanks are spaces, tabs and line ends; comments are
/// `/* ... */`, and `//` or `#` up to the end of the line.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}

    std::size_t offset() const { return offset_; }
    Place place() const { return place_of(offset_); }
    /// What was read since `start`, an earlier offset().
    std::string_view text_since(std::size_t start) const { return text_.substr(start, offset_ - start); }

    /// Skips blanks and comments; throws SyntaxError when a comment has no end.
    void skip_blanks();
    /// Skips blanks; true when nothing is left.
    bool at_end();
    /// Skips blanks and returns the next character without taking it; NUL at the end.
    char peek();
    /// Skips blanks; takes the character `c` if it is next.
    bool take(char c);
    /// Skips blanks; takes the text if it is next.
    bool take(std::string_view literal);
    /// Skips blanks and takes a value word: all up to a blank, a bracket, a quote or a comment. May be empty.
    std::string_view word();
    /// Skips blanks and takes the longest run of letters and digits. May be empty.
    std::string_view name();
    /// Takes all up to the closing `quote`, which must follow in the same line, without skipping anything.
    std::string_view quoted(char quote);
    /// Takes all up to the end of the line, without skipping anything.
    std::string_view rest_of_line();
    /// Takes exactly `length` characters of any kind when `quote` and then `>` follow them.
    bool take_raw(std::size_t length, char quote, std::string_view& raw);

    /// Throws a SyntaxError for what comes next (blanks skipped).
    [[noreturn]] void fail(std::string expected);
    /// Throws a SyntaxError for what is at `offset`.
    [[noreturn]] void fail_at(std::size_t offset, std::string expected) const;
    /// The same with the caller's own words for what was found.
    [[noreturn]] void fail_at(std::size_t offset, std::string expected, std::string found) const;

  private:
    bool starts(std::string_view literal) const { return text_.substr(offset_).starts_with(literal); }
    bool skip_comment();
    std::string describe(std::size_t offset) const;
    Place place_of(std::size_t offset) const;

    std::string_view text_;
    std::size_t offset_ = 0;
};

}  // namespace sml
