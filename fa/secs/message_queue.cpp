#include "fa/secs/message_queue.h"

#include <deque>
#include <mutex>
#include <utility>

#include "fa/secs/reply_wait.h"
#include "fa/secs/secs_data.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/spool_table.h"
#include "winapi/winapi.h"

namespace Talwen {

namespace {

CRITICAL_SECTION Queue_Lock;  // never destroyed: a process may exit while a callback still queues

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

}  // namespace

void QFA_Message_Queue_Init() {
    QFA_Message_Clear();
    Reset_Reply_Wait();
}

void QFA_Message_Queue_Release() {
    QFA_Message_Clear();
}

void Queue_Message(FA_Message entry) {
    Queue_Guard guard;
    entry.number = Secs.Entries_Queued++;
    Secs.FA_Message_Queue.push_back(std::move(entry));
}

bool QFA_Message_PopFront(FA_Message* entry) {
    Queue_Guard guard;
    if (Secs.FA_Message_Queue.empty()) return false;
    *entry = Secs.FA_Message_Queue.front();
    return true;
}

void QFA_Message_RemoveFront() {
    Queue_Guard guard;
    if (Secs.FA_Message_Queue.empty()) return;
    SecsDeleteItem(Secs.FA_Message_Queue.front().item);
    Secs.FA_Message_Queue.pop_front();
}

void Forget_Front_Item(const _SECS_ITEM* item) {
    Queue_Guard guard;
    if (!Secs.FA_Message_Queue.empty() && Secs.FA_Message_Queue.front().item == item)
        Secs.FA_Message_Queue.front().item = nullptr;
}

void QFA_Message_Clear() {
    std::deque<FA_Message> dropped;
    {
        Queue_Guard guard;
        dropped.swap(Secs.FA_Message_Queue);
    }
    free_items(dropped);
}

void QFA_Message_Purge_Unspooled() {
    QFA_Message_Purge_Unspooled(QFA_Message_Queue_Mark());
}

std::uint64_t QFA_Message_Queue_Mark() {
    Queue_Guard guard;
    return Secs.Entries_Queued;
}

void QFA_Message_Purge_Unspooled(std::uint64_t mark) {
    std::vector<FA_Message> dropped;
    {
        Queue_Guard guard;
        std::deque<FA_Message> kept;
        for (FA_Message& entry : Secs.FA_Message_Queue) {
            if (entry.number >= mark || QFA_Get_Spool_Enable(entry.stream, entry.function))
                kept.push_back(std::move(entry));
            else
                dropped.push_back(std::move(entry));
        }
        Secs.FA_Message_Queue.swap(kept);
    }
    free_items(dropped);
}

std::size_t QFA_Message_Queue_Length() {
    Queue_Guard guard;
    return Secs.FA_Message_Queue.size();
}

}  // namespace Talwen
