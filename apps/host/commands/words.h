// The words of one line: of a command, or of a file that is read line by line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sml/cursor.h"

namespace host {

/// Words are separated by blanks; blanks within double quotes or within < > do not separate. A word that
/// begins with # or // begins a comment. Errors are sml::SyntaxError with the place of the word.
class Words {
  public:
    /// `place` is where the line begins.
    Words(std::string_view line, sml::Place place);

    bool empty() const { return next_ == words_.size(); }
    /// The next word without taking it; "" when none is left.
    std::string_view peek() const { return empty() ? "" : std::string_view(words_[next_].text); }
    /// Takes the next word; `expected` says in an error what is missing.
    std::string take(const char* expected);
    /// Takes the next word if it is this one.
    bool take_if(std::string_view word);
    std::uint32_t number(const char* expected, std::uint32_t least = 0, std::uint32_t most = 0xFFFFFFFF);
    /// All the rest as numbers; one at least.
    std::vector<std::uint32_t> numbers(const char* expected);
    /// Throws when words are left.
    void end();
    /// Throws for the word taken last.
    [[noreturn]] void refuse(const std::string& expected) const;

  private:
    struct Word {
        std::string text;
        std::size_t column;
    };
    [[noreturn]] void fail(std::size_t word, const std::string& expected) const;

    std::vector<Word> words_;
    std::size_t next_ = 0;
    sml::Place place_;
    std::size_t end_column_;
};

/// The text without the double quotes around it, if there are any.
std::string unquoted(std::string_view text);

/// The whole text as a number from 0 to 4294967295.
bool read_number(std::string_view text, std::uint32_t& value);

}  // namespace host
