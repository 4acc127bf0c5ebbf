// The message log: every message that crosses the link, as an indented SML-like text in the online log.
#pragma once

#include <string>

#include "fa/secs/secs_item.h"

namespace Talwen {

/// Logs one message as one entry. `direction` 0 received, 1 sent; a null item gives the header lines alone.
/// Any thread.
void QFA_Message_Print_SML(void* handle, unsigned char stream, unsigned char function, _SECS_ITEM* item,
                           unsigned long msgid, int direction);

/// Appends the text of an item (`depth` 2 for the root, which ends in a dot) or, at depth 0, of a whole
/// message.
void Item_Dump(void* handle, unsigned char stream, unsigned char function, _SECS_ITEM* item,
               unsigned long msgid, int direction, int depth, std::string& text);

}  // namespace Talwen
