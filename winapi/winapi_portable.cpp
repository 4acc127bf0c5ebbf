#if !defined(_WIN32)

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>

#include "winapi/equipment_clock.h"
#include "winapi/winapi.h"

namespace {

/// What a handle for CloseHandle points to.
struct Object {
    virtual ~Object() = default;
};

struct Event : Object {
    Event(bool signalled_at_start, bool manual) : signalled(signalled_at_start), manual_reset(manual) {}

    std::mutex mutex;
    std::condition_variable changed;
    bool signalled;
    bool manual_reset;
};

std::atomic<int> tokens{0};

struct Token : Object {
    explicit Token(DWORD asked) : access(asked) { ++tokens; }
    ~Token() override { --tokens; }

    DWORD access;
};

constexpr LUID systemtime_privilege{12, 0};

HANDLE handle_of(Object* object) {
    return object;
}

Event& event_of(HANDLE handle) {
    return static_cast<Event&>(*static_cast<Object*>(handle));
}

}  // namespace

HANDLE CreateEventA(void* /*attributes*/, BOOL manual_reset, BOOL initial_state, const char* /*name*/) {
    return handle_of(new Event(initial_state != 0, manual_reset != 0));
}

BOOL SetEvent(HANDLE event) {
    if (event == nullptr) return 0;
    Event& e = event_of(event);
    {
        const std::lock_guard lock(e.mutex);
        e.signalled = true;
    }
    e.changed.notify_all();  // outside the lock, so that the waiter does not run into it
    return 1;
}

DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds) {
    if (event == nullptr) return WAIT_FAILED;
    Event& e = event_of(event);
    std::unique_lock lock(e.mutex);
    const auto ready = [&e] { return e.signalled; };
    if (milliseconds == INFINITE)
        e.changed.wait(lock, ready);
    else if (!e.changed.wait_for(lock, std::chrono::milliseconds(milliseconds), ready))
        return WAIT_TIMEOUT;
    if (!e.manual_reset) e.signalled = false;
    return WAIT_OBJECT_0;
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == nullptr) return 0;
    delete static_cast<Object*>(handle);
    return 1;
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

int winapi::open_tokens() {
    return tokens;
}

HANDLE GetCurrentProcess() {
    static char process;
    return &process;
}

BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token) {
    if (process != GetCurrentProcess()) return 0;
    *token = handle_of(new Token(access));
    return 1;
}

BOOL LookupPrivilegeValueA(const char* system, const char* name, LUID* privilege) {
    if (system != nullptr || std::strcmp(name, "SeSystemtimePrivilege") != 0) return 0;
    *privilege = systemtime_privilege;
    return 1;
}

BOOL AdjustTokenPrivileges(HANDLE token, BOOL disable_all, TOKEN_PRIVILEGES* wanted, DWORD /*previous_size*/,
                           TOKEN_PRIVILEGES* /*previous*/, DWORD* /*needed_size*/) {
    constexpr DWORD needed = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY;
    if (token == nullptr) return 0;
    if ((static_cast<const Token&>(*static_cast<Object*>(token)).access & needed) != needed) return 0;
    if (disable_all != 0) {
        winapi::set_clock_privilege(false);
        return 1;
    }
    for (DWORD i = 0; i < wanted->PrivilegeCount; ++i) {
        const LUID_AND_ATTRIBUTES& privilege = wanted->Privileges[i];
        if (privilege.Luid.LowPart == systemtime_privilege.LowPart)
            winapi::set_clock_privilege((privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0);
    }
    return 1;
}

#endif
