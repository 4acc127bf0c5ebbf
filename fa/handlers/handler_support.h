// What the message handlers share: reading texts, answering, acknowledging.
#pragma once

#include <optional>

#include "fa/handlers/integer_items.h"
#include "fa/secs/handler_results.h"
#include "fa/secs/item_owner.h"
#include "fa/secs/secs_item.h"

namespace Talwen {

/// The two arguments that end a format error's text: "...[代码行:%s:%d]".
#define FA_CODE_LINE(handler) "Talwen::BC_FA::" handler, __LINE__

/// What a request comes to: the acknowledge code to answer, or nothing for a malformed message, which gets no
/// answer.
using Verdict = std::optional<unsigned char>;
inline constexpr unsigned char Accepted = 0;

/// Text of an A item (or bytes of a B item), whole and with a NUL after it; valid as long as the item.
const char* Item_Text(const _SECS_ITEM& item);

inline bool Is_List_Of(const _SECS_ITEM& item, int count) {
    return item.format == SECS_FORMAT_L && item.count == count;
}

inline bool Between(int value, int low, int high) {
    return value >= low && value <= high;
}

/// Sends the secondary `stream`, `function` for primary `msgid` and logs it; returns the driver's result.
unsigned long Reply_And_Log(void* handle, unsigned char stream, unsigned char function, Item_Owner root,
                            unsigned long msgid);
/// The same with a one-byte acknowledge code; a malformed message is a format error.
unsigned long Reply_Verdict(void* handle, unsigned char stream, unsigned char function, Verdict verdict,
                            unsigned long msgid);

/// A one-byte binary acknowledge code.
Item_Owner Acknowledge_Item(unsigned char code);

/// The text item "-" in place of an unknown or unreadable value.
Item_Owner Placeholder_Item();

}  // namespace Talwen
