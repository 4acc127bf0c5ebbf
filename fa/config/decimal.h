// Numbers in texts: of files, commands and A items. All of the module's go through here.
#pragma once

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

namespace Talwen {

/// The number that a text begins with, after white space and a sign; 0 without digits. A number that `Number`
/// does not hold is the nearest that it does.
template <class Number>
Number Leading_Number(std::string_view text) {
    const auto start = text.find_first_not_of(" \t\n\v\f\r");
    text.remove_prefix(start < text.size() ? start : text.size());
    const bool negative = text.starts_with('-');
    if (text.starts_with('+') && !text.substr(1).starts_with('-')) text.remove_prefix(1);
    Number number{};
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc::result_out_of_range) return number;
    return negative ? std::numeric_limits<Number>::lowest() : std::numeric_limits<Number>::max();
}

/// The number that a text is as a whole, with nothing before or after it.
inline std::optional<int> Whole_Number(std::string_view text) {
    int number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
    return number;
}

}  // namespace Talwen
