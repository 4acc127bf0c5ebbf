// What a parser says of a text.
#pragma once

#include <string>

#include "sml/reader.h"

/// The error's text; "accepted" when there is none.
template <class Parse>
std::string error_of(Parse parse) {
    try {
        parse();
        return "accepted";
    } catch (const sml::SyntaxError& error) {
        return error.what();
    }
}

/// Its place and what was found: "2:10 '300'", with "..." behind it when more of the text may mend it.
template <class Parse>
std::string found_by(Parse parse) {
    try {
        parse();
        return "accepted";
    } catch (const sml::SyntaxError& error) {
        return std::to_string(error.place.line) + ":" + std::to_string(error.place.column) + " " +
               error.found + (error.incomplete ? "..." : "");
    }
}
