// The wait for the host's answer to the primary that was sent last.
#pragma once

#include <cstdint>

namespace Talwen {

// REQUESTID: id of the last primary sent. RESPONSEID: id of the last message received that may end a wait.
void QFA_Set_RequestID(unsigned long msgid);
void QFA_Set_ResponseID(unsigned long msgid);
std::uint32_t QFA_Get_RequestID();
std::uint32_t QFA_Get_ResponseID();

/// Both ids to values that match nothing; makes the event that wakes the sender.
void Reset_Reply_Wait();
/// A primary is about to be sent; its id becomes REQUESTID only afterwards.
void Send_Begins();
/// A stream 9 message has come: ends the wait for the primary in flight, also for one whose sending has only
/// begun. Follow it by QFA_Notify_Reply.
void End_Wait_In_Flight();
/// Wakes the waiting sender; both arguments are ignored. False when there is no event yet.
bool QFA_Notify_Reply(unsigned long msgid, unsigned long result);
/// Waits until the answer to REQUESTID has come. `msgid` is the result of sending (0 and 3 to 100: failed, 1
/// and 2: no wait). Each wake-up starts a full new time-out. False on failure and time-out.
bool QFA_Wait_Reply(unsigned char stream, unsigned char function, unsigned long msgid,
                    std::uint32_t timeout_ms);
bool QFA_Wait_Reply(unsigned long msgid, std::uint32_t timeout_ms);

}  // namespace Talwen
