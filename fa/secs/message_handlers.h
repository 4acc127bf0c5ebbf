// What this folder asks of the module above it: a builder or a handler for a message. Declared here, provided
// by fa/module/handler_routes.cpp, so that nothing here depends on the class that has them.
#pragma once

#include "fa/secs/secs_item.h"

namespace Talwen {

class QSequence;

/// One received message on its way to its handler.
struct Received_Message {
    void* handle;
    unsigned long msgid;
    unsigned char stream;
    unsigned char function;
    _SECS_ITEM* item;

    bool is_primary() const { return (function & 1U) != 0; }
};

/// Calls the builder of a primary; null for a pair without one.
_SECS_ITEM* Build_Message(QSequence& module, void* handle, unsigned char stream, unsigned char function,
                          void* param);
/// Calls the message's handler, or what takes messages without one. -5: not handled.
unsigned long Handle_Message(QSequence& module, const Received_Message& message);
/// Answers with function 0 (abort).
unsigned long Refuse_Message(QSequence& module, const Received_Message& message);

}  // namespace Talwen
