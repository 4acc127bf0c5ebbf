#include "apps/host/commands/words.h"

#include <charconv>

namespace host {
namespace {

constexpr std::string_view blanks = " \t\r\n";

// Where the word that begins at `start` ends; npos when a quote or bracket is not closed.
std::size_t end_of_word(std::string_view line, std::size_t start) {
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = start; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"')
            quoted = !quoted;
        else if (quoted)
            continue;
        else if (c == '<')
            ++depth;
        else if (c == '>')
            --depth;
        else if (depth <= 0 && blanks.find(c) != std::string_view::npos)
            return i;
    }
    return quoted || depth > 0 ? std::string_view::npos : line.size();
}

}  // namespace

Words::Words(std::string_view line, sml::Place place)
    : place_(place), end_column_(place.column + line.size()) {
    for (std::size_t at = line.find_first_not_of(blanks); at < line.size();
         at = line.find_first_not_of(blanks, at)) {
        if (line[at] == '#' || line.substr(at).starts_with("//")) {
            end_column_ = place.column + at;
            return;
        }
        const std::size_t end = end_of_word(line, at);
        if (end == std::string_view::npos)
            throw sml::SyntaxError({place.line, place.column + line.size()}, "a closing quote or >",
                                   "end of line", false);
        words_.push_back({std::string(line.substr(at, end - at)), place.column + at});
        at = end;
    }
}

void Words::fail(std::size_t word, const std::string& expected) const {
    const bool missing = word >= words_.size();
    throw sml::SyntaxError({place_.line, missing ? end_column_ : words_[word].column}, expected,
                           missing ? "end of line" : "'" + words_[word].text + "'", false);
}

void Words::refuse(const std::string& expected) const {
    fail(next_ - 1, expected);
}

std::string Words::take(const char* expected) {
    if (empty()) fail(next_, expected);
    return words_[next_++].text;
}

bool Words::take_if(std::string_view word) {
    if (empty() || words_[next_].text != word) return false;
    ++next_;
    return true;
}

std::uint32_t Words::number(const char* expected, std::uint32_t least, std::uint32_t most) {
    std::uint32_t value = 0;
    if (!read_number(take(expected), value) || value < least || value > most) refuse(expected);
    return value;
}

std::vector<std::uint32_t> Words::numbers(const char* expected) {
    std::vector<std::uint32_t> values;
    do values.push_back(number(expected));
    while (!empty());
    return values;
}

void Words::end() {
    if (!empty()) fail(next_, "end of line");
}

std::string unquoted(std::string_view text) {
    const bool quotes = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return std::string(quotes ? text.substr(1, text.size() - 2) : text);
}

bool read_number(std::string_view text, std::uint32_t& value) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && stop == text.data() + text.size();
}

}  // namespace host
