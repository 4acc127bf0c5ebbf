// The SECS-II item tree as the driver hands it out and takes it (SEMI E5 section 9).
#pragma once

#include <cstdint>

namespace Talwen {

/// Format bytes: the SECS-II format code times four, the two length-count bits zero (SEMI E5).
enum SECS_FORMAT : unsigned char {
    SECS_FORMAT_L = 0,
    SECS_FORMAT_B = 32,
    SECS_FORMAT_BOOLEAN = 36,
    SECS_FORMAT_A = 64,
    SECS_FORMAT_J = 68,   ///< JIS-8 text
    SECS_FORMAT_C2 = 72,  ///< two-byte character text
    SECS_FORMAT_I8 = 96,
    SECS_FORMAT_I1 = 100,
    SECS_FORMAT_I2 = 104,
    SECS_FORMAT_I4 = 112,
    SECS_FORMAT_F8 = 128,
    SECS_FORMAT_F4 = 144,
    SECS_FORMAT_U8 = 160,
    SECS_FORMAT_U1 = 164,
    SECS_FORMAT_U2 = 168,
    SECS_FORMAT_U4 = 176,
    /// No SECS-II format: a node that is initialised, header-only or failed to load.
    SECS_FORMAT_NONE = 255,
};

/// One node of an item tree. The layout is part of the driver's binary interface.
///
/// A tree built with the SecsCreateItem... functions belongs to its builder until SecsDeleteItem; appending
/// passes a child to its list. A tree loaded into a caller's node belongs to the driver.
struct _SECS_ITEM {
    unsigned char format;  ///< one of SECS_FORMAT
    char value[128];       ///< first element in native byte order; text (NUL-terminated) or bytes of A and B;
                           ///< zero past the data
    char* data;            ///< the item's data whole, of any length: text and bytes with a NUL after them;
                           ///< numbers in native byte order, at the start of `value` where they fit there
    std::uint32_t length;  ///< number of data bytes of any item but a list
    _SECS_ITEM** children;  ///< children of a list, in order
    std::int32_t count;     ///< number of children; 0 for an empty list and for every item that is no list
};

}  // namespace Talwen
