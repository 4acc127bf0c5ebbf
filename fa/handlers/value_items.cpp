#include "fa/handlers/value_items.h"

#include <algorithm>
#include <charconv>

namespace Talwen {

namespace {

/// The number that a text begins with, behind blanks and a sign; 0 when there is none or it does not fit.
template <class Number>
Number leading_number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    if (text.starts_with('+')) text.remove_prefix(1);
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace

_SECS_ITEM* Integer_Item(unsigned char format, long long value) {
    switch (format) {
        case SECS_FORMAT_U1: return SecsCreateItemU1(static_cast<unsigned char>(value));
        case SECS_FORMAT_U2: return SecsCreateItemU2(static_cast<unsigned short>(value));
        case SECS_FORMAT_U4: return SecsCreateItemU4(static_cast<unsigned int>(value));
        case SECS_FORMAT_U8: return SecsCreateItemU8(static_cast<unsigned long long>(value));
        case SECS_FORMAT_I1: return SecsCreateItemI1(static_cast<char>(value));
        case SECS_FORMAT_I2: return SecsCreateItemI2(static_cast<short>(value));
        case SECS_FORMAT_I8: return SecsCreateItemI8(value);
        default: return SecsCreateItemI4(static_cast<int>(value));
    }
}

_SECS_ITEM* Analog_Item(unsigned char format, double value) {
    return format == SECS_FORMAT_F4 ? SecsCreateItemF4(static_cast<float>(value)) : SecsCreateItemF8(value);
}

unsigned char Find_Type_Word(std::span<const Type_Word> words, std::string_view word) {
    const auto found = std::find_if(words.begin(), words.end(),
                                    [word](const Type_Word& candidate) { return candidate.word == word; });
    return found != words.end() ? found->format : static_cast<unsigned char>(SECS_FORMAT_NONE);
}

_SECS_ITEM* Number_Item(unsigned char format, std::string_view text) {
    if (format == SECS_FORMAT_F4 || format == SECS_FORMAT_F8)
        return Analog_Item(format, leading_number<double>(text));
    const auto number = leading_number<long long>(text);
    // What only the widest format holds is read as such; a negative number wraps there as in the others.
    if (format == SECS_FORMAT_U8 && number == 0)
        return SecsCreateItemU8(leading_number<unsigned long long>(text));
    return Integer_Item(format, number);
}

}  // namespace Talwen
