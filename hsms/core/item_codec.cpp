#include "hsms/core/item_codec.h"

#include <algorithm>
#include <vector>

namespace hsms {
namespace {

/// Builds an Item tree from the walk.
class ItemBuilder {
  public:
    explicit ItemBuilder(Item& root) : root_(root) {}

    bool leaf(Format format, std::uint8_t, const char* data, std::uint32_t length) {
        Item& item = add();
        item.format = format;
        item.bytes.assign(data, length);
        return true;
    }

    bool open_list(std::uint32_t count) {
        Item& item = add();
        item.format = Format::list;
        item.children.reserve(std::min<std::size_t>(count, reserve_limit));
        path_[depth_++] = &item;
        return true;
    }

    void close_list() { --depth_; }

  private:
    static constexpr std::size_t reserve_limit = 1024;  // the count is a claim until the children have come

    Item& add() { return depth_ == 0 ? root_ : path_[depth_ - 1]->children.emplace_back(); }

    Item& root_;
    // A list's address is stable while it is on the path: its parent appends only after it was closed.
    std::array<Item*, max_item_depth> path_{};
    std::size_t depth_ = 0;
};

bool write_item(const Item& item, ItemWriter& writer, std::size_t depth) {
    if (find_format(static_cast<std::uint8_t>(item.format)) == nullptr) return false;
    const auto format = static_cast<std::uint8_t>(item.format);
    if (item.format != Format::list) {
        if (item.bytes.size() > max_item_length) return false;
        writer.bytes(format, item.bytes.data(), item.bytes.size());
        return true;
    }
    if (item.children.size() > max_item_length || depth == max_item_depth) return false;
    writer.head(format, item.children.size());
    return std::all_of(item.children.begin(), item.children.end(),
                       [&](const Item& child) { return write_item(child, writer, depth + 1); });
}

}  // namespace

std::string_view to_text(DecodeError error) {
    switch (error) {
        case DecodeError::none: return "well-formed";
        case DecodeError::truncated: return "body ends inside an item";
        case DecodeError::unknown_format: return "unknown item format";
        case DecodeError::no_length_bytes: return "item header without length bytes";
        case DecodeError::partial_element: return "item length is no multiple of its element width";
        case DecodeError::too_deep: return "lists nested too deeply";
        case DecodeError::too_many_items: return "too many items";
        case DecodeError::trailing_bytes: return "bytes after the item";
    }
    return "unknown error";
}

std::string describe(const DecodeResult& result) {
    return std::string(to_text(result.error)) + " at offset " + std::to_string(result.offset);
}

DecodeResult decode_item(std::string_view body, Item& out) {
    out = Item{};
    ItemBuilder builder(out);
    const DecodeResult result = walk_item(body, builder);
    if (!result) out = Item{};
    return result;
}

bool encode_item(const Item& item, std::string& out) {
    const std::size_t start = out.size();
    bool done = false;
    {
        ItemWriter writer(out);
        done = write_item(item, writer, 0);
    }
    if (!done) out.resize(start);
    return done;
}

void ItemWriter::grow(std::size_t size) {
    constexpr std::size_t step = 256;
    out_.resize(std::max({used_ + size, used_ * 2, out_.capacity(), step}));
}

}  // namespace hsms
