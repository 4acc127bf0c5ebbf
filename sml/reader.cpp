#include "sml/reader.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <utility>

#include "hsms/core/item_codec.h"
#include "sml/element.h"

namespace sml {
namespace {

using hsms::ElementKind;
using hsms::FormatInfo;
using hsms::Item;

enum class Wildcards : bool { refused, accepted };

std::string upper_case(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

const FormatInfo& read_tag(Cursor& cursor) {
    cursor.skip_blanks();
    const std::size_t start = cursor.offset();
    std::string tag = upper_case(cursor.name());
    if (tag == "BOOL") tag = "BOOLEAN";
    for (const FormatInfo& row : hsms::format_table)
        if (row.tag == tag) return row;
    cursor.fail_at(start, "a format (L, A, B, BOOLEAN, U1 to U8, I1 to I8, F4, F8, J, W)");
}

template <class Number>
bool parse_decimal(std::string_view word, Number& value) {
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    return error == std::errc{} && stop == end;
}

struct Count {
    std::size_t offset;
    std::size_t value;
};

std::optional<Count> read_count(Cursor& cursor) {
    if (!cursor.take('[')) return std::nullopt;
    cursor.skip_blanks();
    Count count{cursor.offset(), 0};
    if (!parse_decimal(cursor.word(), count.value)) cursor.fail_at(count.offset, "an element count");
    if (!cursor.take(']')) cursor.fail("]");
    return count;
}

void check_count(const Cursor& cursor, const std::optional<Count>& count, std::size_t actual) {
    if (count && count->value != actual)
        cursor.fail_at(count->offset, std::to_string(count->value) + " elements, as the count says",
                       std::to_string(actual));
}

// A quoted text as bytes of the format; in W each character is one two-byte code.
void read_quoted(Cursor& cursor, const FormatInfo& format, const std::optional<Count>& count,
                 std::string& bytes) {
    const std::size_t start = cursor.offset();
    const char quote = cursor.peek();
    cursor.take(quote);
    std::string_view raw;
    const bool whole =
        format.width == 1 && count && bytes.empty() && cursor.take_raw(count->value, quote, raw);
    if (!whole) raw = cursor.quoted(quote);
    if (format.width == 1) {
        bytes += raw;
        return;
    }
    for (const char c : raw) {
        if (c < 0x20 || c > 0x7E)
            cursor.fail_at(start, "ASCII in quotes or codes such as 0x4E2D", "other characters");
        bytes += {'\0', c};
    }
}

Item read_elements(Cursor& cursor, const FormatInfo& format, const std::optional<Count>& count) {
    Item item;
    item.format = format.format;
    while (!cursor.take('>')) {
        const char next = cursor.peek();
        if (format.kind == ElementKind::text && (next == '"' || next == '\'')) {
            read_quoted(cursor, format, count, item.bytes);
            continue;
        }
        const std::size_t start = cursor.offset();
        const std::string_view word = cursor.word();
        if (word.empty()) cursor.fail_at(start, element_description(format) + " or >");
        if (!append_element(format, word, item.bytes)) cursor.fail_at(start, element_description(format));
    }
    check_count(cursor, count, item.bytes.size() / format.width);
    return item;
}

Pattern read_pattern(Cursor& cursor, Wildcards wildcards, std::size_t depth);

Pattern read_list(Cursor& cursor, Wildcards wildcards, const std::optional<Count>& count, std::size_t depth) {
    Pattern list;
    list.kind = Pattern::Kind::list;
    while (!cursor.take('>')) {
        if (wildcards == Wildcards::accepted && cursor.take("...")) {
            list.open_end = true;
            if (!cursor.take('>')) cursor.fail("> after ...");
            return list;
        }
        if (cursor.peek() != '<' && cursor.peek() != '*') cursor.fail("an item or >");
        list.children.push_back(read_pattern(cursor, wildcards, depth + 1));
    }
    check_count(cursor, count, list.children.size());
    return list;
}

Pattern read_pattern(Cursor& cursor, Wildcards wildcards, std::size_t depth) {
    if (wildcards == Wildcards::accepted && cursor.take('*')) return {};
    cursor.skip_blanks();
    const std::size_t start = cursor.offset();
    if (!cursor.take('<')) cursor.fail("an item");
    const FormatInfo& format = read_tag(cursor);
    const std::optional<Count> count = read_count(cursor);
    const bool is_list = format.kind == ElementKind::list;
    if (is_list && depth > hsms::max_item_depth)
        cursor.fail_at(start, "at most " + std::to_string(hsms::max_item_depth) + " lists in each other",
                       "one more");

    Pattern pattern;
    pattern.item.format = format.format;
    if (wildcards == Wildcards::accepted && !is_list && cursor.take('*')) {
        if (!cursor.take('>')) cursor.fail("> after *");
        pattern.kind = Pattern::Kind::any_of_format;
        return pattern;
    }
    if (is_list) return read_list(cursor, wildcards, count, depth);
    pattern.kind = Pattern::Kind::exactly;
    pattern.item = read_elements(cursor, format, count);
    return pattern;
}

// Of a pattern that was read without wildcards.
Item to_item(Pattern&& pattern) {
    if (pattern.kind == Pattern::Kind::exactly) return std::move(pattern.item);
    Item list;
    list.children.reserve(pattern.children.size());
    for (Pattern& child : pattern.children) list.children.push_back(to_item(std::move(child)));
    return list;
}

// "S1F3" in any case.
bool parse_stream_function(std::string_view word, MessagePattern& message) {
    const std::string upper = upper_case(word);
    const std::size_t f = upper.find('F');
    if (f == std::string::npos || upper[0] != 'S') return false;
    const std::string_view view = upper;
    return parse_decimal(view.substr(1, f - 1), message.stream) && message.stream <= 127 &&
           parse_decimal(view.substr(f + 1), message.function);
}

MessagePattern read_any_message(Cursor& cursor, Wildcards wildcards) {
    MessagePattern message;
    const char quote = cursor.peek();
    const bool in_quotes = quote == '\'' || quote == '"';
    const std::size_t start = cursor.offset();
    if (in_quotes) cursor.take(quote);
    std::string_view name = in_quotes ? cursor.quoted(quote) : cursor.name();
    if (!in_quotes && (name.ends_with('W') || name.ends_with('w'))) {  // S1F3W
        name.remove_suffix(1);
        message.wbit = true;
    }
    if (!parse_stream_function(name, message)) cursor.fail_at(start, "a message such as S1F3");

    if (!message.wbit) message.wbit = cursor.take('W') || cursor.take('w');
    if (cursor.take('.')) return message;
    const char next = cursor.peek();
    if (next != '<' && !(next == '*' && wildcards == Wildcards::accepted))
        cursor.fail(message.wbit ? "an item or ." : "W, an item or .");
    message.body = read_pattern(cursor, wildcards, 1);
    if (!cursor.take('.')) cursor.fail(". at the end of the message");
    return message;
}

template <class Result>
Result whole(std::string_view text, Result (*read)(Cursor&)) {
    Cursor cursor(text);
    Result result = read(cursor);
    if (!cursor.at_end()) cursor.fail("nothing more");
    return result;
}

}  // namespace

Item parse_item(std::string_view text) {
    return whole<Item>(text,
                       [](Cursor& cursor) { return to_item(read_pattern(cursor, Wildcards::refused, 1)); });
}

Pattern parse_pattern(std::string_view text) {
    return whole<Pattern>(text, [](Cursor& cursor) { return read_pattern(cursor, Wildcards::accepted, 1); });
}

Message parse_message(std::string_view text) {
    return whole<Message>(text, read_message);
}

MessagePattern parse_message_pattern(std::string_view text) {
    return whole<MessagePattern>(text, read_message_pattern);
}

Message read_message(Cursor& cursor) {
    MessagePattern read = read_any_message(cursor, Wildcards::refused);
    Message message{read.stream, read.function, read.wbit, std::nullopt};
    if (read.body) message.body = to_item(std::move(*read.body));
    return message;
}

MessagePattern read_message_pattern(Cursor& cursor) {
    return read_any_message(cursor, Wildcards::accepted);
}

}  // namespace sml
