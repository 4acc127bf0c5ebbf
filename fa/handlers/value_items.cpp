#include "fa/handlers/value_items.h"

#include <algorithm>
#include <string>

#include "fa/config/config_file.h"
#include "fa/config/decimal.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

template <class Number, class Width>
Item_Owner cut(_SECS_ITEM* (*create)(Width), Number value) {
    return Item_Owner(create(static_cast<Width>(value)));
}

}  // namespace

Item_Owner Integer_Item(unsigned char format, long long value) {
    switch (format) {
        case SECS_FORMAT_U1: return cut(SecsCreateItemU1, value);
        case SECS_FORMAT_U2: return cut(SecsCreateItemU2, value);
        case SECS_FORMAT_U4: return cut(SecsCreateItemU4, value);
        case SECS_FORMAT_U8: return cut(SecsCreateItemU8, value);
        case SECS_FORMAT_I1: return cut(SecsCreateItemI1, value);
        case SECS_FORMAT_I2: return cut(SecsCreateItemI2, value);
        case SECS_FORMAT_I8: return cut(SecsCreateItemI8, value);
        default: return cut(SecsCreateItemI4, value);
    }
}

Item_Owner Analog_Item(unsigned char format, double value) {
    return format == SECS_FORMAT_F4 ? cut(SecsCreateItemF4, value) : cut(SecsCreateItemF8, value);
}

unsigned char Find_Type_Word(std::span<const Type_Word> words, std::string_view word) {
    const auto found = std::find_if(words.begin(), words.end(),
                                    [word](const Type_Word& candidate) { return candidate.word == word; });
    return found != words.end() ? found->format : static_cast<unsigned char>(SECS_FORMAT_NONE);
}

Item_Owner Number_Item(unsigned char format, std::string_view text) {
    switch (format) {
        case SECS_FORMAT_F4:
        case SECS_FORMAT_F8: return Analog_Item(format, Config_Real(std::string(text)));
        case SECS_FORMAT_U8:
            // Read unsigned, for the numbers that only this format holds; a negative number wraps, as in the
            // others.
            if (const auto number = Leading_Number<unsigned long long>(text); number != 0)
                return Item_Owner(SecsCreateItemU8(number));
            [[fallthrough]];
        case SECS_FORMAT_I8:
        case SECS_FORMAT_U4: return Integer_Item(format, Leading_Number<long long>(text));
        default: return Integer_Item(format, Leading_Number<int>(text));
    }
}

}  // namespace Talwen
