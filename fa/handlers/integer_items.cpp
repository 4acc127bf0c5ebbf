#include "fa/handlers/integer_items.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "fa/config/config_file.h"
#include "fa/handlers/handler_support.h"

namespace Talwen {

namespace {

template <class Element>
long long element_at(const char* place) {
    Element value;
    std::memcpy(&value, place, sizeof value);
    if constexpr (std::is_same_v<Element, std::uint64_t>)
        value = std::min(value, static_cast<std::uint64_t>(std::numeric_limits<long long>::max()));
    return static_cast<long long>(value);
}

struct Integer_Format {
    unsigned char format;
    std::size_t size;
    long long (*element)(const char* place);
};

constexpr Integer_Format integer_formats[] = {
    {SECS_FORMAT_U1, 1, element_at<std::uint8_t>},  {SECS_FORMAT_U2, 2, element_at<std::uint16_t>},
    {SECS_FORMAT_U4, 4, element_at<std::uint32_t>}, {SECS_FORMAT_U8, 8, element_at<std::uint64_t>},
    {SECS_FORMAT_I1, 1, element_at<std::int8_t>},   {SECS_FORMAT_I2, 2, element_at<std::int16_t>},
    {SECS_FORMAT_I4, 4, element_at<std::int32_t>},  {SECS_FORMAT_I8, 8, element_at<std::int64_t>},
};

/// Null for every other format.
const Integer_Format* find_format(unsigned char format) {
    const auto* found = std::ranges::find(integer_formats, format, &Integer_Format::format);
    return found == std::end(integer_formats) ? nullptr : found;
}

}  // namespace

std::size_t Integer_Size(unsigned char format) {
    const Integer_Format* found = find_format(format);
    return found != nullptr ? found->size : 0;
}

std::size_t Integer_Count(const _SECS_ITEM& item) {
    const std::size_t size = Integer_Size(item.format);
    return size != 0 ? item.length / size : 0;
}

long long Integer_Element(const _SECS_ITEM& item, std::size_t index) {
    const Integer_Format* integers = find_format(item.format);
    if (integers == nullptr) return 0;
    // The first one is at the start of the value area; a driver need not give numbers a length.
    if (index == 0) return integers->element(item.value);
    return index < Integer_Count(item) ? integers->element(Item_Text(item) + index * integers->size) : 0;
}

int To_32_Bits(long long number) {
    if (number >= 0 && number <= std::numeric_limits<std::uint32_t>::max()) return static_cast<int>(number);
    return static_cast<int>(
        std::clamp<long long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

bool Read_Identifier(const _SECS_ITEM& item, int* id) {
    if (item.format == SECS_FORMAT_A)
        *id = Config_Int(Item_Text(item));
    else if (Integer_Size(item.format) != 0)
        *id = To_32_Bits(Integer_Element(item, 0));
    else
        return false;
    return true;
}

bool Read_Low_32_Bits(const _SECS_ITEM& item, int* id) {
    if (Integer_Size(item.format) != 8) return Read_Identifier(item, id);
    std::uint64_t number = 0;
    std::memcpy(&number, item.value, sizeof number);
    *id = static_cast<int>(static_cast<std::uint32_t>(number));
    return true;
}

}  // namespace Talwen
