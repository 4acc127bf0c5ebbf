// Texts in which ^ marks the mistake.
#pragma once

#include <algorithm>
#include <string>

#include "sml/cursor.h"

/// Nothing when `parse` finds the mistake at the mark, and says what is written there; else what it says. A
/// mistake at the end may be right with more text.
template <class Parse>
std::string unlike_marked(std::string text, Parse parse) {
    const std::size_t mark = text.find('^');
    const std::string before = text.erase(mark, 1).substr(0, mark), rest = text.substr(mark);
    try {
        parse(text);
        return "accepted";
    } catch (const sml::SyntaxError& error) {
        const auto line = std::ranges::count(before, '\n') + 1;
        const std::string start = before.substr(before.rfind('\n') + 1);
        const auto column = 1 + std::ranges::count_if(start, [](char c) { return (c & 0xC0) != 0x80; });
        std::string found = error.found;
        if (found.size() > 2 && found.back() == '\'') found = found.substr(1, found.size() - 2);
        const bool line_ends = rest[0] == '\n' || rest[0] == '#';
        const bool named = rest.empty() || (found == "end of line" ? line_ends : rest.starts_with(found));
        const bool placed = error.place.line == static_cast<std::size_t>(line) &&
                            error.place.column == static_cast<std::size_t>(column);
        return named && placed && error.incomplete == rest.empty() ? "" : error.what();
    }
}
