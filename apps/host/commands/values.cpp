#include "apps/host/commands/values.h"

#include <algorithm>

#include "apps/host/commands/words.h"
#include "sml/element.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace host {

using hsms::ElementKind;
using hsms::Format;
using hsms::Item;

std::optional<Item> typed_item(std::string_view text) {
    std::uint32_t number = 0;
    if (read_number(text, number)) return number_item(number);
    if (!text.starts_with('<')) return Item::ascii(unquoted(text));
    try {
        return sml::parse_item(text);
    } catch (const sml::SyntaxError&) {
        return std::nullopt;
    }
}

std::optional<Item> typed_item(std::string_view text, Format format) {
    if (text.starts_with('<') || text.starts_with('"')) return typed_item(text);
    const hsms::FormatInfo* info = hsms::find_format(static_cast<std::uint8_t>(format));
    if (info == nullptr || info->kind == ElementKind::list || info->kind == ElementKind::text)
        return Item::ascii(text);
    Item item{format, {}, {}};
    if (!sml::append_element(*info, text, item.bytes)) return std::nullopt;
    return item;
}

Item number_item(std::uint32_t number) {
    return Item::unsigned_integers(Format::u4, {number});
}

Item number_list(const std::vector<std::uint32_t>& numbers) {
    Item list = Item::list();
    for (const std::uint32_t number : numbers) list.children.push_back(number_item(number));
    return list;
}

std::string plain(const Item& item) {
    const hsms::FormatInfo* info = hsms::find_format(static_cast<std::uint8_t>(item.format));
    if (info == nullptr || info->kind == ElementKind::list) return sml::one_line(item);
    if (info->kind == ElementKind::text) {
        const bool bare = item.format == Format::ascii && !item.bytes.empty() &&
                          std::all_of(item.bytes.begin(), item.bytes.end(),
                                      [](char c) { return c > 0x20 && c < 0x7F && c != '"'; });
        if (bare) return item.bytes;
        const std::string sml = sml::one_line(item);  // <A "text">
        const std::size_t quote = sml.find('"');
        return quote == std::string::npos || sml.back() != '>' ? "\"\""
                                                               : sml.substr(quote, sml.size() - quote - 1);
    }
    std::string text;
    for (std::size_t i = 0; i < item.element_count(); ++i) {
        const std::string_view element = std::string_view(item.bytes).substr(i * info->width, info->width);
        text += (i == 0 ? "" : " ") + sml::element_text(*info, element);
    }
    return text;
}

std::optional<std::uint64_t> first_number(const Item& item) {
    std::uint32_t number = 0;
    switch (item.format) {
        case Format::list:
        case Format::f4:
        case Format::f8:
        case Format::jis8:
        case Format::text2: return std::nullopt;
        case Format::ascii:
            return read_number(item.bytes, number) ? std::optional<std::uint64_t>(number) : std::nullopt;
        default: break;
    }
    return item.element_count() == 0 ? std::nullopt : std::optional<std::uint64_t>(item.unsigned_integer(0));
}

const Item* child(const Item& list, std::size_t index) {
    return index < list.children.size() ? &list.children[index] : nullptr;
}

const Item* child(const sml::Message& message, std::size_t index) {
    return message.body ? child(*message.body, index) : nullptr;
}

std::string plain_child(const Item& list, std::size_t index) {
    const Item* item = child(list, index);
    return item == nullptr ? "-" : plain(*item);
}

std::string name_of(const sml::Message& message) {
    return "S" + std::to_string(message.stream) + "F" + std::to_string(message.function);
}

}  // namespace host
