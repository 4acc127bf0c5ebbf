// The outgoing queue of equipment primaries, and the wait for the host's answer to the one that was sent.
#pragma once

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

/// Builds a primary on the calling thread and queues it; null and empty parameters are left out, later ones
/// move up. False when there is no builder or it gave nothing; then nothing is queued. Any thread.
bool QFA_Message_PushBack(unsigned char stream, unsigned char function, std::string* p1, std::string* p2,
                          std::string* p3, std::string* p4, std::string* p5);

// Each takes the queue lock for its own duration. Removers are called by the main monitor alone; bodies of
// entries that are dropped are freed.
void QFA_Message_Queue_Init();     ///< empties the queue, resets the ids below, makes lock and event
void QFA_Message_Queue_Release();  ///< empties the queue
/// Copies the first entry out and leaves it queued; false when there is none.
bool QFA_Message_PopFront(FA_Message* entry);
void QFA_Message_RemoveFront();
void QFA_Message_Clear();
/// Drops every entry whose message is not enabled for spooling; the others keep their order.
void QFA_Message_Purge_Unspooled();
/// The same for entries queued before the mark was taken. A purge decided on because the link was down must
/// not take what is queued after the link has come up meanwhile: mark first, then look at the link, then
/// purge.
std::uint64_t QFA_Message_Queue_Mark();
void QFA_Message_Purge_Unspooled(std::uint64_t mark);
std::size_t QFA_Message_Queue_Length();

/// Sends an entry's body, logs it and frees it; the message id becomes REQUESTID. 0 when the entry has no
/// body.
unsigned long QFA_Message_Send(void* handle, FA_Message* entry);

// REQUESTID: id of the last primary sent. RESPONSEID: id of the last message received that may end a wait.
void QFA_Set_RequestID(unsigned long msgid);
void QFA_Set_ResponseID(unsigned long msgid);
/// A stream 9 message has come: ends the wait for whatever is in flight, also for a primary whose sending has
/// begun and whose id is not known yet. Follow it by QFA_Notify_Reply.
void End_Wait_In_Flight();
std::uint32_t QFA_Get_RequestID();
std::uint32_t QFA_Get_ResponseID();
/// Wakes the waiting sender; both arguments are ignored. False when there is no event yet.
bool QFA_Notify_Reply(unsigned long msgid, unsigned long result);
/// Waits until the answer to REQUESTID has come. `msgid` is the result of sending (0 and 3 to 100: failed, 1
/// and 2: no wait). Each wake-up starts a full new time-out. False on failure and time-out.
bool QFA_Wait_Reply(unsigned char stream, unsigned char function, unsigned long msgid,
                    std::uint32_t timeout_ms);
bool QFA_Wait_Reply(unsigned long msgid, std::uint32_t timeout_ms);

}  // namespace Talwen
