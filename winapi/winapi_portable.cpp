#if !defined(_WIN32)

#include <chrono>
#include <condition_variable>

#include "winapi/winapi.h"

namespace {

struct Event {
    std::mutex mutex;
    std::condition_variable changed;
    bool signalled;
    bool manual_reset;
};

}  // namespace

HANDLE CreateEventA(void* /*attributes*/, BOOL manual_reset, BOOL initial_state, const char* /*name*/) {
    return new Event{{}, {}, initial_state != 0, manual_reset != 0};
}

BOOL SetEvent(HANDLE event) {
    if (event == nullptr) return 0;
    auto* e = static_cast<Event*>(event);
    std::lock_guard lock(e->mutex);
    e->signalled = true;
    e->changed
        .notify_all();  // under the lock: the event may be closed as soon as a waiter has seen the signal
    return 1;
}

DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds) {
    if (event == nullptr) return WAIT_FAILED;
    auto* e = static_cast<Event*>(event);
    std::unique_lock lock(e->mutex);
    const auto ready = [e] { return e->signalled; };
    if (milliseconds == INFINITE)
        e->changed.wait(lock, ready);
    else if (!e->changed.wait_for(lock, std::chrono::milliseconds(milliseconds), ready))
        return WAIT_TIMEOUT;
    if (!e->manual_reset) e->signalled = false;
    return WAIT_OBJECT_0;
}

BOOL CloseHandle(HANDLE handle) {
    delete static_cast<Event*>(handle);
    return handle != nullptr;
}

void InitializeCriticalSection(CRITICAL_SECTION* section) {
    section->mutex = new std::recursive_mutex;
}
void EnterCriticalSection(CRITICAL_SECTION* section) {
    section->mutex->lock();
}
void LeaveCriticalSection(CRITICAL_SECTION* section) {
    section->mutex->unlock();
}
void DeleteCriticalSection(CRITICAL_SECTION* section) {
    delete section->mutex;
    section->mutex = nullptr;
}

#endif
