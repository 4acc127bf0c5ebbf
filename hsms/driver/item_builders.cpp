// The driver interface's item functions: trees that the caller builds and owns.
//
// A node is one allocation; a list's array of children grows in powers of two, so that its capacity follows
// from its count; text and bytes that do not fit the value area (with a NUL after them) have an allocation
// of their own.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "fa/secs/secs_driver.h"
#include "hsms/driver/secs_item_codec.h"

// g++ defines __SANITIZE_ADDRESS__, clang answers here.
#if defined(__has_feature)
#define FA_HAS_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define FA_HAS_ADDRESS_SANITIZER 0
#endif

namespace Talwen {
namespace {

constexpr std::int32_t first_children = 4;

/// Asks for a node's memory ahead of its use: a tree of ten thousand items does not stay in the near caches.
void prefetch([[maybe_unused]] const _SECS_ITEM* node) {
#if defined(__GNUC__)
    if (node == nullptr) return;
    const char* const bytes = reinterpret_cast<const char*>(node);
    for (std::size_t at = 0; at < sizeof *node; at += 64) __builtin_prefetch(bytes + at, 1);
#endif
}

void* allocate(std::size_t size) {
    void* const place = std::malloc(size);
    if (place == nullptr) throw std::bad_alloc();
    return place;
}

/// Nodes of deleted trees, kept for the next ones of the same thread: a reply of a thousand items then costs
/// the heap nothing. No more are kept than the thread has had in use at once: one that only deletes what
/// others build keeps none. Freed with the thread.
class NodeCache {
  public:
    ~NodeCache() {
        while (first_ != nullptr) std::free(pop());
    }
    void* take() {
        most_used_ = std::max(most_used_, ++used_);
        return first_ != nullptr ? pop() : allocate(sizeof(_SECS_ITEM));
    }
    void give(_SECS_ITEM* node) {
        --used_;
        if (kept_ >= std::min(most_used_, most_kept)) {
            std::free(node);
            return;
        }
        node->data = reinterpret_cast<char*>(first_);
        first_ = node;
        ++kept_;
    }

  private:
#if defined(__SANITIZE_ADDRESS__) || FA_HAS_ADDRESS_SANITIZER
    static constexpr std::ptrdiff_t most_kept = 0;  // or the sanitizer would miss a use of a freed node
#else
    static constexpr std::ptrdiff_t most_kept = 16384;
#endif

    _SECS_ITEM* pop() {
        _SECS_ITEM* const node = first_;
        first_ = reinterpret_cast<_SECS_ITEM*>(node->data);
        prefetch(first_);
        --kept_;
        return node;
    }

    _SECS_ITEM* first_ = nullptr;
    std::ptrdiff_t kept_ = 0;
    std::ptrdiff_t used_ = 0;  // taken less given back; below 0 where others' nodes are given back
    std::ptrdiff_t most_used_ = 0;
};

NodeCache& node_cache() {
    thread_local NodeCache cache;
    return cache;
}

_SECS_ITEM* make_node(SECS_FORMAT format) {
    auto* const node = static_cast<_SECS_ITEM*>(node_cache().take());
    hsms::clear_secs_item(*node);
    node->format = format;
    return node;
}

_SECS_ITEM* make_bytes(SECS_FORMAT format, const char* bytes, std::size_t length) {
    _SECS_ITEM* const node = make_node(format);
    length = std::min(length, std::size_t{0xFFFFFFFF});
    node->length = static_cast<std::uint32_t>(length);
    if (length >= sizeof node->value) {
        node->data = static_cast<char*>(allocate(length + 1));
        node->data[length] = '\0';
        const bool text = format == SECS_FORMAT_A;
        std::memcpy(node->value, bytes, sizeof node->value - (text ? 1U : 0U));
    }
    if (length > 0) std::memcpy(node->data, bytes, length);
    return node;
}

template <class Number>
_SECS_ITEM* make_number(SECS_FORMAT format, Number number) {
    _SECS_ITEM* const node = make_node(format);
    std::memcpy(node->value, &number, sizeof number);
    node->length = sizeof number;
    return node;
}

void free_data(_SECS_ITEM& node) {
    if (node.data != node.value) std::free(node.data);
}

}  // namespace

/// The count is a hint that is not needed.
_SECS_ITEM* SecsCreateItemList(int) {
    return make_node(SECS_FORMAT_L);
}

_SECS_ITEM* SecsCreateItemAscii(const char* text) {
    return make_bytes(SECS_FORMAT_A, text, text == nullptr ? 0 : std::strlen(text));
}

_SECS_ITEM* SecsCreateItemBinary(unsigned char* bytes, int length) {
    const std::size_t size = bytes == nullptr || length < 0 ? 0 : static_cast<std::size_t>(length);
    return make_bytes(SECS_FORMAT_B, reinterpret_cast<const char*>(bytes), size);
}

_SECS_ITEM* SecsCreateItemI1(char value) {
    return make_number(SECS_FORMAT_I1, value);
}
_SECS_ITEM* SecsCreateItemI2(short value) {
    return make_number(SECS_FORMAT_I2, value);
}
_SECS_ITEM* SecsCreateItemI4(int value) {
    return make_number(SECS_FORMAT_I4, value);
}
_SECS_ITEM* SecsCreateItemI8(long long value) {
    return make_number(SECS_FORMAT_I8, value);
}
_SECS_ITEM* SecsCreateItemU1(unsigned char value) {
    return make_number(SECS_FORMAT_U1, value);
}
_SECS_ITEM* SecsCreateItemU2(unsigned short value) {
    return make_number(SECS_FORMAT_U2, value);
}
_SECS_ITEM* SecsCreateItemU4(unsigned int value) {
    return make_number(SECS_FORMAT_U4, value);
}
_SECS_ITEM* SecsCreateItemU8(unsigned long long value) {
    return make_number(SECS_FORMAT_U8, value);
}
_SECS_ITEM* SecsCreateItemF4(float value) {
    return make_number(SECS_FORMAT_F4, value);
}
_SECS_ITEM* SecsCreateItemF8(double value) {
    return make_number(SECS_FORMAT_F8, value);
}
_SECS_ITEM* SecsCreateItemEmpty() {
    return make_node(SECS_FORMAT_NONE);
}

bool SecsListItemAppend(_SECS_ITEM* list, _SECS_ITEM* child) {
    if (list == nullptr || child == nullptr || list->format != SECS_FORMAT_L) return false;
    const auto count = static_cast<std::uint32_t>(list->count);
    if (count == 0 || (count >= first_children && (count & (count - 1)) == 0)) {
        const std::size_t capacity = std::max<std::size_t>(first_children, std::size_t{count} * 2);
        void* const grown = std::realloc(list->children, capacity * sizeof(_SECS_ITEM*));
        if (grown == nullptr) return false;
        list->children = static_cast<_SECS_ITEM**>(grown);
    }
    list->children[list->count++] = child;
    return true;
}

/// Without recursion, however deep the tree: nodes to free are chained through their `data`.
void SecsDeleteItem(_SECS_ITEM* item) {
    if (item == nullptr) return;
    free_data(*item);
    item->data = nullptr;
    while (item != nullptr) {
        _SECS_ITEM* next = reinterpret_cast<_SECS_ITEM*>(item->data);
        for (std::int32_t i = 0; i < item->count; ++i) {
            constexpr std::int32_t ahead = 8;
            if (i + ahead < item->count) prefetch(item->children[i + ahead]);
            _SECS_ITEM* const child = item->children[i];
            free_data(*child);
            child->data = reinterpret_cast<char*>(next);
            next = child;
        }
        std::free(item->children);
        node_cache().give(item);
        item = next;
    }
}

void SecsInitItem(_SECS_ITEM* item) {
    if (item != nullptr) hsms::clear_secs_item(*item);
}

int SecsItemLoadBuffer(_SECS_ITEM* item, char* buffer, int length) {
    if (item == nullptr) return 0;
    hsms::clear_secs_item(*item);
    if (buffer == nullptr || length <= 0) return 0;
    const std::string_view body(buffer, static_cast<std::size_t>(length));
    const hsms::DecodeResult result = hsms::decode_secs_item(body, *item);
    if (result) return 1;
    OnlineLog("message body of %d bytes not understood: %.*s at offset %zu", length,
              static_cast<int>(hsms::to_text(result.error).size()), hsms::to_text(result.error).data(),
              result.offset);
    return 0;
}

}  // namespace Talwen
