#include "sml/writer.h"

#include <string_view>
#include <utility>

#include "sml/element.h"

namespace sml {
namespace {

using hsms::ElementKind;
using hsms::FormatInfo;
using hsms::Item;

constexpr std::size_t line_width = 100;
constexpr std::size_t indent_step = 4;

const FormatInfo& info_of(hsms::Format format) {
    return *hsms::find_format(static_cast<std::uint8_t>(format));
}

std::string head_of(hsms::Format format) {
    return "<" + std::string(info_of(format).tag);
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Length of the character at the start of `text` if it may be within quotes: printable ASCII but the
// quote, or a well-formed UTF-8 sequence of U+00A0 and above (those below are control characters). Else 0.
std::size_t printable_length(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) return lead >= 0x20 && lead < 0x7F && lead != '"' ? 1 : 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!continues_character(text[i])) return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    const bool overlong =
        (lead == 0xC2 && second < 0xA0) || (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool beyond = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
    return overlong || beyond ? 0 : length;
}

// The words of a text of one-byte characters: quoted runs and codes.
std::vector<std::string> text_words(const FormatInfo& format, std::string_view text) {
    std::vector<std::string> words;
    bool in_quotes = false;
    while (!text.empty()) {
        const std::size_t length = printable_length(text);
        if (in_quotes && length == 0) words.back() += '"';
        if (length == 0)
            words.push_back(element_text(format, text.substr(0, 1)));
        else if (in_quotes)
            words.back() += text.substr(0, length);
        else
            words.push_back('"' + std::string(text.substr(0, length)));
        in_quotes = length != 0;
        text.remove_prefix(length == 0 ? 1 : length);
    }
    if (in_quotes) words.back() += '"';
    if (words.empty()) words.emplace_back("\"\"");
    return words;
}

std::vector<std::string> words_of(const Item& item) {
    const FormatInfo& format = info_of(item.format);
    const std::string_view bytes = item.bytes;
    if (format.kind == ElementKind::text && format.width == 1) return text_words(format, bytes);
    std::vector<std::string> words;
    words.reserve(bytes.size() / format.width);
    for (std::size_t at = 0; at + format.width <= bytes.size(); at += format.width)
        words.push_back(element_text(format, bytes.substr(at, format.width)));
    return words;
}

// Appends the item in one line; stops and returns false when `out` grows beyond `limit` characters.
bool append_inline(const Item& item, std::size_t limit, std::string& out) {
    out += head_of(item.format);
    if (item.format == hsms::Format::list) {
        for (const Item& child : item.children) {
            out += ' ';
            if (!append_inline(child, limit, out)) return false;
        }
    } else {
        // Each element takes a character at least, so this bounds the work on large items.
        const bool too_many = item.element_count() > limit;
        for (const std::string& word :
             words_of(too_many ? Item{item.format, {}, item.bytes.substr(0, 8 * (limit / 8 + 1))} : item)) {
            out += ' ';
            out += word;
        }
        if (too_many) return false;
    }
    out += '>';
    return out.size() <= limit;
}

// The words of a large item, as many to a line as fit.
void append_wrapped(const Item& item, std::size_t indent, std::string& out) {
    out += head_of(item.format);
    std::size_t column = indent + out.size();
    for (const std::string& word : words_of(item)) {
        if (column + 1 + word.size() > line_width) {
            out += '\n' + std::string(indent + indent_step - 1, ' ');
            column = indent + indent_step - 1;
        }
        out += ' ' + word;
        column += 1 + word.size();
    }
    out += '>';
}

void append_item(const Item& item, std::size_t indent, std::string& out) {
    std::string line;
    if (append_inline(item, indent < line_width ? line_width - indent : 0, line)) {
        out += line;
        return;
    }
    if (item.format != hsms::Format::list) {
        line.clear();
        append_wrapped(item, indent, line);
        out += line;
        return;
    }
    out += "<L";
    for (const Item& child : item.children) {
        out += '\n' + std::string(indent + indent_step, ' ');
        append_item(child, indent + indent_step, out);
    }
    out += '\n' + std::string(indent, ' ') + '>';
}

bool append_inline(const Pattern& pattern, std::size_t limit, std::string& out) {
    switch (pattern.kind) {
        case Pattern::Kind::any: out += '*'; return out.size() <= limit;
        case Pattern::Kind::any_of_format:
            out += head_of(pattern.item.format) + " *>";
            return out.size() <= limit;
        case Pattern::Kind::exactly: return append_inline(pattern.item, limit, out);
        case Pattern::Kind::list: break;
    }
    out += "<L";
    for (const Pattern& child : pattern.children) {
        out += ' ';
        if (!append_inline(child, limit, out)) return false;
    }
    out += pattern.open_end ? " ...>" : ">";
    return out.size() <= limit;
}

template <class AnyMessage>
std::string head(const AnyMessage& message) {
    return "S" + std::to_string(message.stream) + "F" + std::to_string(message.function) +
           (message.wbit ? " W" : "");
}

std::string cut(std::string text, std::size_t limit) {
    if (text.size() <= limit) return text;
    std::size_t end = limit;
    while (end > 0 && continues_character(text[end])) --end;
    text.resize(end);
    return text + "...";
}

template <class AnyItem>
std::string item_line(const AnyItem& item, std::size_t limit) {
    std::string line;
    append_inline(item, limit, line);
    return cut(std::move(line), limit);
}

template <class AnyMessage>
std::string message_line(const AnyMessage& message, std::size_t limit) {
    std::string line = head(message);
    bool complete = true;
    if (message.body) {
        line += ' ';
        complete = append_inline(*message.body, limit, line);
    }
    if (complete) line += '.';
    return cut(std::move(line), limit);
}

}  // namespace

std::string to_sml(const Item& item, std::size_t indent) {
    std::string text;
    append_item(item, indent, text);
    return text;
}

std::string to_sml(const Message& message) {
    std::string text = head(message);
    if (message.body) {
        std::string line = text + ' ';
        if (append_inline(*message.body, line_width, line)) return line + '.';
        text += '\n';
        append_item(*message.body, 0, text);
    }
    return text + '.';
}

std::string one_line(const Item& item, std::size_t limit) {
    return item_line(item, limit);
}
std::string one_line(const Pattern& pattern, std::size_t limit) {
    return item_line(pattern, limit);
}
std::string one_line(const Message& message, std::size_t limit) {
    return message_line(message, limit);
}
std::string one_line(const MessagePattern& message, std::size_t limit) {
    return message_line(message, limit);
}

}  // namespace sml
