#include "fa/secs/reply_wait.h"

#include "fa/framework/qprint.h"
#include "fa/framework/qsequence.h"
#include "fa/secs/module_state.h"
#include "fa/secs/secs_data.h"

namespace Talwen {

namespace {

/// The wait that both forms share.
template <class TimedOut>
bool wait_for_response(unsigned long msgid, std::uint32_t timeout_ms, TimedOut timed_out) {
    if (msgid == 1 || msgid == 2) return true;
    if (msgid <= 100) return false;
    while (Secs.REQUESTID != Secs.RESPONSEID && Secs.Ended_Send != Secs.Sends) {
        if (WaitForSingleObject(Secs.Reply_Event, timeout_ms) != WAIT_OBJECT_0) {
            timed_out();
            return false;
        }
        if (Threads_Ending) return false;  // woken by the destructor
    }
    return true;
}

const char* print_tag() {
    const QSequence* module = FA_Instance;
    return module != nullptr ? module->Print_Tag : "";
}

bool extra_prints() {
    QSequence* module = FA_Instance;
    return module != nullptr && module->QIO_Get_GEM_PrnChk() != 0;
}

/// True for the reports whose answers the controller does not want to wait for.
bool answer_is_not_awaited(unsigned char stream, unsigned char function) {
    QSequence* module = FA_Instance;
    if (module == nullptr || stream != 6) return false;
    switch (function) {
        case 1: return module->QIO_Get_GEM_S6F2Res_Enable() == 0;
        case 11: return module->QIO_Get_GEM_S6F12Res_Enable() == 0;
        case 13: return module->QIO_Get_GEM_S6F14Res_Enable() == 0;
        default: return false;
    }
}

}  // namespace

void QFA_Set_RequestID(unsigned long msgid) {
    Secs.REQUESTID = static_cast<std::uint32_t>(msgid);
    if (extra_prints()) QPrint_Green(print_tag(), "SET REQUESTID:%d", static_cast<int>(msgid));
}

void QFA_Set_ResponseID(unsigned long msgid) {
    Secs.RESPONSEID = static_cast<std::uint32_t>(msgid);
    if (extra_prints()) QPrint_Cyan(print_tag(), "SET RESPONSEID:%d", static_cast<int>(msgid));
}

std::uint32_t QFA_Get_RequestID() {
    return Secs.REQUESTID;
}
std::uint32_t QFA_Get_ResponseID() {
    return Secs.RESPONSEID;
}

void Reset_Reply_Wait() {
    Secs.REQUESTID = 101;
    Secs.RESPONSEID = 100;
    Secs.Sends = 1;
    Secs.Ended_Send = 0;
    if (Secs.Reply_Event == nullptr) Secs.Reply_Event = CreateEventA(nullptr, 0, 0, nullptr);
}

void Send_Begins() {
    ++Secs.Sends;
}

// REQUESTID may still be the id before that of the primary in flight, so the send itself is marked too. The
// id is read first: whatever the sender does meanwhile, one message ends the wait of one send.
void End_Wait_In_Flight() {
    const std::uint32_t id = Secs.REQUESTID;
    Secs.Ended_Send = Secs.Sends.load();
    QFA_Set_ResponseID(id);
}

bool QFA_Notify_Reply(unsigned long /*msgid*/, unsigned long /*result*/) {
    return SetEvent(Secs.Reply_Event) != 0;
}

bool QFA_Wait_Reply(unsigned char stream, unsigned char function, unsigned long msgid,
                    std::uint32_t timeout_ms) {
    if (msgid > 100 && answer_is_not_awaited(stream, function)) return true;
    return wait_for_response(msgid, timeout_ms, [=] {
        QPrint(print_tag(), "等待主机应答超时[ S%dF%d MsgID:%ld. T7:%d.]", stream, function,
               static_cast<long>(msgid), static_cast<int>(timeout_ms));
    });
}

bool QFA_Wait_Reply(unsigned long msgid, std::uint32_t timeout_ms) {
    return wait_for_response(msgid, timeout_ms, [=] {
        QPrint(print_tag(), "等待主机应答超时[MsgID:%ld. T7:%d.]", static_cast<long>(msgid),
               static_cast<int>(timeout_ms));
    });
}

}  // namespace Talwen
