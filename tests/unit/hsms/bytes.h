// Bytes written by hand: "00 00 00 0A" or 'text' in single quotes.
#pragma once

#include <cctype>
#include <string>
#include <string_view>

inline std::string bytes(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '\'') {
            const std::size_t end = text.find('\'', at + 1);
            out.append(text.substr(at + 1, end - at - 1));
            at = end + 1;
        } else if (std::isxdigit(static_cast<unsigned char>(text[at])) != 0) {
            out.push_back(static_cast<char>(std::stoi(std::string(text.substr(at, 2)), nullptr, 16)));
            at += 2;
        } else {
            ++at;
        }
    }
    return out;
}

inline std::string to_hex(std::string_view data) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : data) {
        const auto byte = static_cast<unsigned char>(c);
        if (!out.empty()) out.push_back(' ');
        out.push_back(digits[byte >> 4U]);
        out.push_back(digits[byte & 0xFU]);
    }
    return out;
}
