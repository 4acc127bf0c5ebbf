// The SML reader: any text as a message. What it accepts is written again to text that reads as the same
// message, and matches itself as a pattern.
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "sml/match.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace {

/// The parsed text, or nothing when it is refused; any other exception is a finding.
template <class Parse>
auto parsed(Parse parse, std::string_view text) -> std::optional<decltype(parse(text))> {
    try {
        return parse(text);
    } catch (const sml::SyntaxError& error) {
        require(error.place.line >= 1 && error.place.column >= 1, "an error has a place");
        return std::nullopt;
    }
}

void check_message(std::string_view text) {
    const auto message = parsed(sml::parse_message, text);
    const auto pattern = parsed(sml::parse_message_pattern, text);
    if (pattern) sml::one_line(*pattern);
    if (!message) return;
    require(pattern.has_value(), "every message is a pattern");
    if (const auto difference = sml::difference(*pattern, *message)) {
        std::fprintf(stderr, "%s\n", difference->c_str());
        require(false, "a message matches itself");
    }
    const auto again = parsed(sml::parse_message, sml::to_sml(*message));
    require(again.has_value(), "what is written can be read");
    require(*again == *message, "it reads as the same message");
    require(sml::one_line(*message, 80).find('\n') == std::string::npos, "one line is one line");
}

void check_item(std::string_view text) {
    const auto item = parsed(sml::parse_item, text);
    const auto pattern = parsed(sml::parse_pattern, text);
    if (!item) return;
    require(pattern && !sml::difference(*pattern, *item), "an item matches itself");
    const auto again = parsed(sml::parse_item, sml::to_sml(*item, 4));
    require(again.has_value() && *again == *item, "a written item reads as the same item");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check_message(text);
    check_item(text);
    return 0;
}
