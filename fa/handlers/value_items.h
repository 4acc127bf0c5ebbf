// Value items: what status and report variables look like in messages.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "fa/secs/item_owner.h"
#include "fa/secs/secs_item.h"

namespace Talwen {

inline bool In_Range(int index, int count) {
    return index >= 0 && index < count;
}

/// A number in an integer format, cut to its width; I4 for every other format.
Item_Owner Integer_Item(unsigned char format, long long value);

/// A number as F4 for that format, as F8 for every other.
Item_Owner Analog_Item(unsigned char format, double value);

/// A word in the text of a list variable, and the format of the values after it.
struct Type_Word {
    std::string_view word;
    unsigned char format;
};

/// The format of a type word; SECS_FORMAT_NONE for another word.
unsigned char Find_Type_Word(std::span<const Type_Word> words, std::string_view word);

/// The decimal text of a list entry's value as an item of a numeric format; 0 when it is not a number, the
/// nearest for what is beyond the widest of its kind.
Item_Owner Number_Item(unsigned char format, std::string_view text);

/// The list that the text "word:value,word:value,..." of a string point describes: a child per entry whose
/// word is one of `words`, and what `other(word, value)` gives (null for no child) for the rest. An entry
/// without a colon has an empty value; an empty last entry does not count.
template <class Other>
Item_Owner List_Variable_Item(std::string_view text, std::span<const Type_Word> words, Other other) {
    Item_Owner list = Empty_List();
    while (!text.empty()) {
        const std::string_view entry = text.substr(0, text.find(','));
        text.remove_prefix(entry.size() < text.size() ? entry.size() + 1 : entry.size());
        const std::string_view word = entry.substr(0, entry.find(':'));
        const std::string_view value =
            word.size() < entry.size() ? entry.substr(word.size() + 1) : std::string_view{};
        const unsigned char format = Find_Type_Word(words, word);
        Item_Owner item = format != SECS_FORMAT_NONE ? Number_Item(format, value) : other(word, value);
        if (item != nullptr) Append_Item(list, std::move(item));
    }
    return list;
}

}  // namespace Talwen
