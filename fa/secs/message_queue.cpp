#include "fa/secs/message_queue.h"

#include <atomic>
#include <deque>
#include <iterator>
#include <mutex>
#include <utility>

#include "fa/framework/qprint.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/module/module_threads.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"
#include "fa/secs/spool_table.h"
#include "winapi/winapi.h"

namespace Talwen {

namespace {

// Never destroyed: a process may exit while a callback still queues.
std::deque<FA_Message>& FA_Message_Queue = *new std::deque<FA_Message>;
std::uint64_t Entries_Queued = 0;  // under the queue lock
CRITICAL_SECTION Queue_Lock;
std::atomic<HANDLE> Reply_Event{nullptr};
std::atomic<std::uint32_t> REQUESTID{101};
std::atomic<std::uint32_t> RESPONSEID{100};
std::atomic<bool> Rejected{false};  // a stream 9 message has come since the last send began

/// Holds the queue lock, which the first user makes.
class Queue_Guard {
  public:
    Queue_Guard() {
        static std::once_flag made;
        std::call_once(made, [] { InitializeCriticalSection(&Queue_Lock); });
        EnterCriticalSection(&Queue_Lock);
    }
    ~Queue_Guard() { LeaveCriticalSection(&Queue_Lock); }
    Queue_Guard(const Queue_Guard&) = delete;
    Queue_Guard& operator=(const Queue_Guard&) = delete;
};

template <class Entries>
void free_items(Entries& entries) {
    for (FA_Message& entry : entries) SecsDeleteItem(entry.item);
}

/// The first entry's body has been sent and freed: nothing may find it in the queue any more.
void forget_front_item(const _SECS_ITEM* item) {
    Queue_Guard guard;
    if (!FA_Message_Queue.empty() && FA_Message_Queue.front().item == item)
        FA_Message_Queue.front().item = nullptr;
}

/// The wait that both forms share.
template <class TimedOut>
bool wait_for_response(unsigned long msgid, std::uint32_t timeout_ms, TimedOut timed_out) {
    if (msgid == 1 || msgid == 2) return true;
    if (msgid <= 100) return false;
    while (REQUESTID != RESPONSEID && !Rejected) {
        if (WaitForSingleObject(Reply_Event, timeout_ms) != WAIT_OBJECT_0) {
            timed_out();
            return false;
        }
        if (Module_Threads_Ending()) return false;  // woken by the destructor
    }
    return true;
}

const char* print_tag() {
    const BC_FA* module = FA_Instance;
    return module != nullptr ? module->Print_Tag : "";
}

bool extra_prints() {
    BC_FA* module = FA_Instance;
    return module != nullptr && module->QIO_Get_GEM_PrnChk() != 0;
}

}  // namespace

bool QFA_Message_PushBack(unsigned char stream, unsigned char function, std::string* p1, std::string* p2,
                          std::string* p3, std::string* p4, std::string* p5) {
    FA_Message entry{stream, function, {}, nullptr, 0};
    // Empty parameters are skipped on purpose: builders see the ones that are there, in order.
    for (const std::string* param : {p1, p2, p3, p4, p5})
        if (param != nullptr && !param->empty()) entry.params.push_back(*param);
    entry.item = OnSendMessageBuffer(nullptr, stream, function, &entry.params);
    if (entry.item == nullptr) return false;
    Queue_Guard guard;
    entry.number = Entries_Queued++;
    FA_Message_Queue.push_back(std::move(entry));
    return true;
}

void QFA_Message_Queue_Init() {
    REQUESTID = 101;
    RESPONSEID = 100;
    Rejected = false;
    QFA_Message_Clear();
    if (Reply_Event == nullptr) Reply_Event = CreateEventA(nullptr, 0, 0, nullptr);
}

// Lock and event stay for the life of the process: a driver callback or another framework thread may still
// hold them.
void QFA_Message_Queue_Release() {
    QFA_Message_Clear();
}

bool QFA_Message_PopFront(FA_Message* entry) {
    Queue_Guard guard;
    if (FA_Message_Queue.empty()) return false;
    *entry = FA_Message_Queue.front();
    return true;
}

void QFA_Message_RemoveFront() {
    Queue_Guard guard;
    if (FA_Message_Queue.empty()) return;
    SecsDeleteItem(FA_Message_Queue.front().item);
    FA_Message_Queue.pop_front();
}

void QFA_Message_Clear() {
    std::deque<FA_Message> dropped;
    {
        Queue_Guard guard;
        dropped.swap(FA_Message_Queue);
    }
    free_items(dropped);
}

void QFA_Message_Purge_Unspooled() {
    QFA_Message_Purge_Unspooled(QFA_Message_Queue_Mark());
}

std::uint64_t QFA_Message_Queue_Mark() {
    Queue_Guard guard;
    return Entries_Queued;
}

void QFA_Message_Purge_Unspooled(std::uint64_t mark) {
    std::vector<FA_Message> dropped;
    {
        Queue_Guard guard;
        std::deque<FA_Message> kept;
        for (FA_Message& entry : FA_Message_Queue) {
            if (entry.number >= mark || QFA_Get_Spool_Enable(entry.stream, entry.function))
                kept.push_back(std::move(entry));
            else
                dropped.push_back(std::move(entry));
        }
        FA_Message_Queue.swap(kept);
    }
    free_items(dropped);
}

std::size_t QFA_Message_Queue_Length() {
    Queue_Guard guard;
    return FA_Message_Queue.size();
}

unsigned long QFA_Message_Send(void* handle, FA_Message* entry) {
    if (entry->item == nullptr) return 0;
    Rejected = false;
    const unsigned long msgid = SecsSendMessageItem(handle, entry->stream, entry->function, entry->item, 1);
    QFA_Message_Print_SML(handle, entry->stream, entry->function, entry->item, msgid, 1);
    forget_front_item(entry->item);
    SecsDeleteItem(entry->item);
    entry->item = nullptr;
    QFA_Set_RequestID(msgid);
    return msgid;
}

void QFA_Set_RequestID(unsigned long msgid) {
    REQUESTID = static_cast<std::uint32_t>(msgid);
    if (extra_prints()) QPrint_Green(print_tag(), "SET REQUESTID:%d", static_cast<int>(msgid));
}

void QFA_Set_ResponseID(unsigned long msgid) {
    RESPONSEID = static_cast<std::uint32_t>(msgid);
    if (extra_prints()) QPrint_Cyan(print_tag(), "SET RESPONSEID:%d", static_cast<int>(msgid));
}

void End_Wait_In_Flight() {
    Rejected = true;  // before REQUESTID is read: it may still be the id before the one in flight
    QFA_Set_ResponseID(REQUESTID);
}

std::uint32_t QFA_Get_RequestID() {
    return REQUESTID;
}
std::uint32_t QFA_Get_ResponseID() {
    return RESPONSEID;
}

bool QFA_Notify_Reply(unsigned long /*msgid*/, unsigned long /*result*/) {
    return SetEvent(Reply_Event) != 0;
}

bool QFA_Wait_Reply(unsigned char stream, unsigned char function, unsigned long msgid,
                    std::uint32_t timeout_ms) {
    BC_FA* module = FA_Instance;
    if (msgid > 100 && module != nullptr && stream == 6) {
        if (function == 1 && module->QIO_Get_GEM_S6F2Res_Enable() == 0) return true;
        if (function == 11 && module->QIO_Get_GEM_S6F12Res_Enable() == 0) return true;
        if (function == 13 && module->QIO_Get_GEM_S6F14Res_Enable() == 0) return true;
    }
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
