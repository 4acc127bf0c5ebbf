// Routing tables by stream and function, made from the list of handlers.
#pragma once

#include "fa/module/bc_fa.h"

namespace Talwen {

using Message_Builder = _SECS_ITEM* (BC_FA::*)(void* handle, void* param);
using Message_Handler = unsigned long (BC_FA::*)(void* handle, _SECS_ITEM* item, unsigned long msgid);

/// The builder of an equipment primary; null when there is none.
Message_Builder Find_Builder(unsigned char stream, unsigned char function);
/// The handler of a received message, primary or secondary; null when there is none.
Message_Handler Find_Handler(unsigned char stream, unsigned char function);

}  // namespace Talwen
