// Bytes written by hand: "00 00 00 0A" or 'text' in single quotes; lists of texts; logs without their times.
#pragma once

#include <cctype>
#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

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
    std::string out;
    char text[4];
    for (const char c : data) {
        std::snprintf(text, sizeof text, "%s%02X", out.empty() ? "" : " ", static_cast<unsigned char>(c));
        out += text;
    }
    return out;
}

inline std::vector<std::string> split(const std::string& text, char mark) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, mark);) parts.push_back(part);
    return parts;
}

inline std::string without_times(const std::string& log) {
    static const std::regex time(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\n)");
    return std::regex_replace(log, time, "TIME\n");
}
