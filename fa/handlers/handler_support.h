// What the message handlers share: reading identifiers, answering, acknowledging.
#pragma once

#include "fa/secs/secs_item.h"

namespace Talwen {

/// Result of a handler that refused a malformed message: logged, not answered.
inline constexpr unsigned long Format_Error = static_cast<unsigned long>(-7L);

/// The two arguments behind a format error's text: "...[代码行:%s:%d]".
#define FA_CODE_LINE(handler) "Talwen::BC_FA::" handler, __LINE__

/// The first element of an integer item, or the decimal text of an A item, as a 32-bit number (the low 32
/// bits of wider ones). False, `*id` untouched, for every other format.
bool Read_Identifier(const _SECS_ITEM& item, int* id);

/// Text of an A item (or bytes of a B item), whole and with a NUL behind it; good while the item is.
const char* Item_Text(const _SECS_ITEM& item);

/// Sends the secondary `stream`, `function` for primary `msgid`, logs it, frees `root`; returns the driver's
/// result.
unsigned long Reply_And_Log(void* handle, unsigned char stream, unsigned char function, _SECS_ITEM* root,
                            unsigned long msgid);

/// A one-byte binary acknowledge code.
_SECS_ITEM* Acknowledge_Item(unsigned char code);

/// The text item "-" that stands for an unknown or unreadable value.
_SECS_ITEM* Placeholder_Item();

}  // namespace Talwen
