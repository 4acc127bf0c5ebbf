#include "sml/match.h"

#include "sml/writer.h"

namespace sml {
namespace {

using hsms::Item;

// Why one item does not match, its place left out.
std::string report(const std::string& path, const std::string& expected, const std::string& got) {
    return (path.empty() ? "body" : "item " + path) + ": expected " + expected + ", got " + got;
}

std::optional<std::string> compare(const Pattern& pattern, const Item& item, const std::string& path);

std::optional<std::string> compare_list(const Pattern& pattern, const Item& item, const std::string& path) {
    const std::size_t wanted = pattern.children.size();
    for (std::size_t i = 0; i < wanted && i < item.children.size(); ++i) {
        const std::string child = (path.empty() ? "" : path + ".") + std::to_string(i + 1);
        if (auto found = compare(pattern.children[i], item.children[i], child)) return found;
    }
    const std::size_t count = item.children.size();
    if (count == wanted || (pattern.open_end && count > wanted)) return std::nullopt;
    return report(path, "a list of " + std::to_string(wanted) + (pattern.open_end ? " or more" : ""),
                  "a list of " + std::to_string(count) + ": " + one_line(item));
}

std::optional<std::string> compare(const Pattern& pattern, const Item& item, const std::string& path) {
    bool same = false;
    switch (pattern.kind) {
        case Pattern::Kind::any: return std::nullopt;
        case Pattern::Kind::any_of_format: same = item.format == pattern.item.format; break;
        case Pattern::Kind::exactly: same = item == pattern.item; break;
        case Pattern::Kind::list:
            if (item.format == hsms::Format::list) return compare_list(pattern, item, path);
            break;
    }
    if (same) return std::nullopt;
    return report(path, one_line(pattern), one_line(item));
}

std::string name(int stream, int function) {
    return "S" + std::to_string(stream) + "F" + std::to_string(function);
}

}  // namespace

std::optional<std::string> difference(const Pattern& pattern, const Item& item) {
    return compare(pattern, item, "");
}

std::optional<std::string> difference(const MessagePattern& pattern, const Message& message) {
    if (pattern.stream != message.stream || pattern.function != message.function)
        return "expected " + name(pattern.stream, pattern.function) + ", got " + one_line(message);
    if (pattern.wbit && !message.wbit) return "expected W, got " + one_line(message);
    if (!pattern.body && message.body) return "expected no body, got " + one_line(*message.body);
    if (pattern.body && !message.body) return "body: expected " + one_line(*pattern.body) + ", got none";
    return pattern.body ? difference(*pattern.body, *message.body) : std::nullopt;
}

}  // namespace sml
