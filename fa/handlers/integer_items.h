// Reading integer items: formats, elements, identifiers.
#pragma once

#include <cstddef>
#include <optional>

#include "fa/secs/secs_item.h"

namespace Talwen {

/// Bytes of one element of an integer format; 0 for every other format.
std::size_t Integer_Size(unsigned char format);
/// Elements of an integer item; 0 for every other item.
std::size_t Integer_Count(const _SECS_ITEM& item);
/// One element of an integer item, whole (of U8 at most the largest long long); 0 past its end.
long long Integer_Element(const _SECS_ITEM& item, std::size_t index);

/// The number as 32 bits, signed or unsigned; beyond them the nearest int, which no range test lets through.
int To_32_Bits(long long number);

/// The first element of an integer item (0 of an empty one), or the decimal text of an A item, as 32 bits.
/// False, `*id` untouched, for every other format.
bool Read_Identifier(const _SECS_ITEM& item, int* id);
/// The same, but of the eight-byte formats the low 32 bits: status variables and the request on-line.
bool Read_Low_32_Bits(const _SECS_ITEM& item, int* id);

}  // namespace Talwen
