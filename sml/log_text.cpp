#include "sml/log_text.h"

#include <string_view>

#include "sml/element.h"

namespace sml {
namespace {

using hsms::ElementKind;
using hsms::FormatInfo;
using hsms::Item;

constexpr std::size_t title_width = 40;

std::string title(const Message& message, bool sent) {
    const bool primary = message.function % 2 == 1;
    std::string text =
        std::string(sent ? "Send " : "Receive ") + (primary ? "Primary" : "Secondary") + " Message";
    text.resize(title_width, ' ');
    return text;
}

std::string element(const FormatInfo& format, std::string_view bytes) {
    const auto value = static_cast<signed char>(bytes.front());
    if (format.kind == ElementKind::byte) return std::to_string(value);
    if (format.kind == ElementKind::boolean && (value == 0 || value == 1))
        return value == 1 ? "True" : "False";
    return element_text(format, bytes);
}

void append(const Item& item, std::size_t depth, std::string& text) {
    const FormatInfo* format = hsms::find_format(static_cast<std::uint8_t>(item.format));
    if (format == nullptr) return;
    const std::string indent(4 * depth, ' ');
    const bool boolean = format->kind == ElementKind::boolean;
    text += indent + "<" + (boolean ? "Bool" : std::string(format->tag)) + "[" +
            std::to_string(item.element_count()) + "]";
    if (format->kind == ElementKind::list) {
        text += '\n';
        for (const Item& child : item.children) append(child, depth + 1, text);
        text += indent;
    } else if (format->kind == ElementKind::text && format->width == 1) {
        text += " \"" + item.bytes + "\"";
    } else {
        for (std::size_t i = 0; i < item.element_count(); ++i)
            text +=
                " " + element(*format, std::string_view(item.bytes).substr(i * format->width, format->width));
    }
    text += ">\n";
}

}  // namespace

std::string log_text(const Message& message, bool sent, std::uint32_t id, std::uint16_t device) {
    std::string text = title(message, sent) + "[" + std::to_string(id) + "," + std::to_string(device) +
                       "]\n    'S" + std::to_string(message.stream) + "F" + std::to_string(message.function) +
                       "'\n";
    if (!message.body) return text;
    append(*message.body, 2, text);
    return text + ".";
}

}  // namespace sml
