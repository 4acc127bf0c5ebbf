// The outgoing queue of equipment primaries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fa/secs/secs_item.h"

namespace Talwen {

/// One queued primary.
struct FA_Message {
    unsigned char stream = 0;
    unsigned char function = 0;
    std::vector<std::string> params;  ///< what its builder was given: at most five texts, none empty
    _SECS_ITEM* item = nullptr;       ///< the body as built when it was queued; the entry's until it is sent
    std::uint64_t number = 0;         ///< counts the entries ever queued
};

// Each takes the queue lock for its own duration. Removers are called by the main monitor alone; bodies of
// entries that are dropped are freed.

/// Empties the queue and resets the reply wait.
void QFA_Message_Queue_Init();
void QFA_Message_Queue_Release();  ///< empties the queue
/// Appends the entry.
void Queue_Message(FA_Message entry);
/// Copies the first entry out and leaves it queued; false when there is none.
bool QFA_Message_PopFront(FA_Message* entry);
void QFA_Message_RemoveFront();
/// The sender frees the first entry's body: nothing may find it in the queue any more.
void Forget_Front_Item(const _SECS_ITEM* item);
void QFA_Message_Clear();
/// Drops every entry whose message is not enabled for spooling; the others keep their order.
void QFA_Message_Purge_Unspooled();
/// The same for entries queued before the mark was taken. A purge decided on because the link was down must
/// not take what is queued after the link has come up meanwhile: mark first, then look at the link, then
/// purge.
std::uint64_t QFA_Message_Queue_Mark();
void QFA_Message_Purge_Unspooled(std::uint64_t mark);
std::size_t QFA_Message_Queue_Length();

}  // namespace Talwen
