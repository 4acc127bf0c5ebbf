// The equipment's primaries: built and queued on any thread, sent by the main monitor.
#pragma once

#include <string>
#include <vector>

#include "fa/secs/secs_item.h"

namespace Talwen {

struct FA_Message;

/// Builds a primary on the calling thread and queues it; empty parameters are left out, and later ones move
/// up (K2). False when there is no builder or it gave nothing; then nothing is queued. Any thread.
bool Queue_Primary(unsigned char stream, unsigned char function, std::vector<std::string> params = {});
/// S6F11 of a collection event.
bool Queue_Event_Report(int ceid);
/// S6F1: sample `number`, from 1, of a trace.
bool Queue_Trace_Sample(int trid, int number);
/// S5F1.
bool Queue_Alarm_Report(unsigned char alcd, int alid, std::string text);
/// The same for a controller; null parameters are left out as well.
bool QFA_Message_PushBack(unsigned char stream, unsigned char function, std::string* p1, std::string* p2,
                          std::string* p3, std::string* p4, std::string* p5);

/// Calls the builder of an equipment primary with `param` (a std::vector<std::string>*). The caller owns the
/// result; null when there is no builder or it failed. Any thread.
_SECS_ITEM* OnSendMessageBuffer(void* handle, unsigned char stream, unsigned char function, void* param);

/// Sends an entry's body, logs it and frees it; the message id becomes REQUESTID. 0 when the entry has no
/// body.
unsigned long QFA_Message_Send(void* handle, FA_Message* entry);

}  // namespace Talwen
