// Trees under construction: the builder owns one until it is handed on, also when a call in between throws.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "fa/secs/secs_driver.h"

namespace Talwen {

struct Item_Deleter {
    void operator()(_SECS_ITEM* item) const { SecsDeleteItem(item); }
};

/// Deletes its tree; release() hands it on.
using Item_Owner = std::unique_ptr<_SECS_ITEM, Item_Deleter>;

/// The list owns the child from here on. Throws std::bad_alloc when it cannot take it.
inline void Append_Item(const Item_Owner& list, Item_Owner child) {
    if (!SecsListItemAppend(list.get(), child.get())) throw std::bad_alloc();
    (void)child.release();
}

/// A list of these items. Built in braces, List_Item{a, b}.item, its children are made in their order.
struct List_Item {
    template <class... Children>
    explicit List_Item(Children&&... children)
        : item(SecsCreateItemList(static_cast<int>(sizeof...(children)))) {
        (Append_Item(item, std::forward<Children>(children)), ...);
    }
    operator Item_Owner() && { return std::move(item); }

    Item_Owner item;
};

inline Item_Owner Ascii_Item(const char* text) {
    return Item_Owner(SecsCreateItemAscii(text));
}
inline Item_Owner U4_Item(int value) {
    return Item_Owner(SecsCreateItemU4(static_cast<unsigned int>(value)));
}
inline Item_Owner Empty_List(std::size_t expected_count = 0) {
    return Item_Owner(SecsCreateItemList(static_cast<int>(expected_count)));
}

}  // namespace Talwen
