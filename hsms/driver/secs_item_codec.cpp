#include "hsms/driver/secs_item_codec.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "hsms/driver/item_arena.h"

namespace hsms {
namespace {

using Talwen::_SECS_ITEM;

ItemArena& arena() {
    thread_local ItemArena instance;
    return instance;
}

/// Numbers are in native order in a tree and big-endian on the wire: copies, turning each element round.
void copy_turned(char* to, const char* from, std::size_t length, std::size_t width) {
    if constexpr (std::endian::native == std::endian::big) {
        std::memcpy(to, from, length);
    } else {
        for (std::size_t at = 0; at + width <= length; at += width)
            std::reverse_copy(from + at, from + at + width, to + at);
    }
}

template <class Number>
std::uint64_t load_native(const char* from) {
    Number number;
    std::memcpy(&number, from, sizeof number);
    return number;
}

std::uint64_t load_native(const char* from, std::size_t width) {
    switch (width) {
        case 1: return load_native<std::uint8_t>(from);
        case 2: return load_native<std::uint16_t>(from);
        case 4: return load_native<std::uint32_t>(from);
        default: return load_native<std::uint64_t>(from);
    }
}

bool is_text_or_bytes(std::uint8_t format) {
    switch (static_cast<Format>(format)) {
        case Format::binary:
        case Format::ascii:
        case Format::jis8:
        case Format::text2: return true;
        default: return false;
    }
}

void write_numbers(const _SECS_ITEM& node, std::size_t width, ItemWriter& writer) {
    const char* from = node.length <= sizeof node.value ? node.value : node.data;
    std::string turned(node.length, '\0');
    copy_turned(turned.data(), from, turned.size(), width);
    writer.bytes(node.format, turned.data(), turned.size());
}

/// Asks for the two cache lines of a node that the writer reads.
void prefetch([[maybe_unused]] const _SECS_ITEM* node) {
#if defined(__GNUC__)
    if (node == nullptr) return;
    __builtin_prefetch(node);
    __builtin_prefetch(&node->length);
#endif
}

bool write_node(const _SECS_ITEM& node, ItemWriter& writer, std::size_t depth);

bool write_list(const _SECS_ITEM& node, ItemWriter& writer, std::size_t depth) {
    constexpr std::int32_t ahead = 8;  // the nodes are spread over memory: ask for them before their turn
    if (depth == max_item_depth) return false;
    const std::int32_t count = std::max(node.count, 0);
    if (static_cast<std::size_t>(count) > max_item_length) return false;
    writer.head(node.format, static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        if (i + ahead < count) prefetch(node.children[i + ahead]);
        if (node.children[i] == nullptr || !write_node(*node.children[i], writer, depth + 1)) return false;
    }
    return true;
}

bool write_node(const _SECS_ITEM& node, ItemWriter& writer, std::size_t depth) {
    const std::uint8_t width =
        (node.format & 3U) != 0 ? detail::no_format : detail::width_by_code[node.format >> 2U];
    if (width == detail::no_format || node.length > max_item_length) return false;
    if (width == 0) return write_list(node, writer, depth);
    if (is_text_or_bytes(node.format)) {
        writer.bytes(node.format, node.length < sizeof node.value ? node.value : node.data, node.length);
    } else if (node.length == width) {
        writer.number(node.format, load_native(node.value, width), width);
    } else {
        if (node.length % width != 0) return false;
        write_numbers(node, width, writer);
    }
    return true;
}

/// Builds the driver's tree from the walk.
class TreeBuilder {
  public:
    explicit TreeBuilder(_SECS_ITEM& root) : root_(root), arena_(arena()) {}

    bool leaf(Format format, std::uint8_t width, const char* data, std::uint32_t length) {
        _SECS_ITEM& node = add(static_cast<unsigned char>(format));
        node.length = length;
        if (is_text_or_bytes(node.format))
            set_bytes(node, data, length);
        else
            set_numbers(node, data, length, width);
        return true;
    }

    bool open_list(std::uint32_t count) {
        if (count > max_tree_items - items_) return false;
        items_ += count;
        _SECS_ITEM& node = add(Talwen::SECS_FORMAT_L);
        if (count > 0)
            node.children = static_cast<_SECS_ITEM**>(arena_.allocate(count * sizeof(_SECS_ITEM*)));
        path_[depth_++] = &node;
        return true;
    }

    void close_list() { --depth_; }

  private:
    _SECS_ITEM& add(unsigned char format) {
        _SECS_ITEM* node = &root_;
        if (depth_ > 0) {
            node = static_cast<_SECS_ITEM*>(arena_.allocate(sizeof(_SECS_ITEM)));
            _SECS_ITEM& parent = *path_[depth_ - 1];
            parent.children[parent.count++] = node;
        }
        std::memset(node, 0, sizeof *node);
        node->format = format;
        node->data = node->value;
        return *node;
    }

    void set_bytes(_SECS_ITEM& node, const char* data, std::uint32_t length) {
        if (length < sizeof node.value) {
            if (length > 0) std::memcpy(node.value, data, length);
            return;
        }
        node.data = static_cast<char*>(arena_.allocate(std::size_t{length} + 1));
        std::memcpy(node.data, data, length);
        node.data[length] = '\0';
        const bool text = node.format != Talwen::SECS_FORMAT_B;
        std::memcpy(node.value, data, sizeof node.value - (text ? 1U : 0U));
    }

    void set_numbers(_SECS_ITEM& node, const char* data, std::uint32_t length, std::uint8_t width) {
        if (length == width) {
            switch (width) {
                case 1: node.value[0] = *data; return;
                case 2: return turn<std::uint16_t>(node.value, data);
                case 4: return turn<std::uint32_t>(node.value, data);
                default: return turn<std::uint64_t>(node.value, data);
            }
        }
        if (length > sizeof node.value) {
            node.data = static_cast<char*>(arena_.allocate(length));
            copy_turned(node.data, data, length, width);
        }
        copy_turned(node.value, data, std::min<std::size_t>(length, sizeof node.value), width);
    }

    template <class Number>
    static void turn(char* to, const char* from) {
        const auto number = static_cast<Number>(load_big_endian(from, sizeof(Number)));
        std::memcpy(to, &number, sizeof number);
    }

    _SECS_ITEM& root_;
    ItemArena& arena_;
    std::array<_SECS_ITEM*, max_item_depth> path_{};
    std::size_t depth_ = 0;
    std::size_t items_ = 1;  // the root, and what the lists so far have announced
};

}  // namespace

bool encode_secs_item(const _SECS_ITEM& root, std::string& out) {
    if (root.format == Talwen::SECS_FORMAT_NONE) return true;
    const std::size_t start = out.size();
    bool done = false;
    {
        ItemWriter writer(out);
        done = write_node(root, writer, 0);
    }
    if (!done) out.resize(start);
    return done;
}

DecodeResult decode_secs_item(std::string_view body, _SECS_ITEM& root) {
    TreeBuilder builder(root);
    const DecodeResult result = walk_item(body, builder);
    if (!result) clear_secs_item(root);
    return result;
}

void clear_secs_item(_SECS_ITEM& item) {
    std::memset(&item, 0, sizeof item);
    item.format = Talwen::SECS_FORMAT_NONE;
    item.data = item.value;
}

void reset_item_arena() {
    arena().reset();
}

}  // namespace hsms
