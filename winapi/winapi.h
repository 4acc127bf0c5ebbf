// The few Windows calls that the module makes. On Windows the real header; elsewhere a small layer with the
// same names, arguments and results, for what is listed here and no more.
#pragma once

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else

#include <cstdint>
#include <mutex>

using BOOL = int;
using WORD = std::uint16_t;
using DWORD = unsigned int;
using LONG = int;
using HANDLE = void*;

inline constexpr DWORD INFINITE = 0xFFFFFFFFU;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFU;

struct CRITICAL_SECTION {
    std::recursive_mutex* mutex = nullptr;
};

/// An event object: `manual_reset` 0 lets one waiter through per signal. Attributes and name must be null.
HANDLE CreateEventA(void* attributes, BOOL manual_reset, BOOL initial_state, const char* name);
/// Nonzero on success; 0 for a null handle.
BOOL SetEvent(HANDLE event);
/// Waits for an event: WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for a null handle.
DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds);
BOOL CloseHandle(HANDLE handle);

void InitializeCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

/// The equipment clock (winapi/equipment_clock.h), local time.
void GetLocalTime(SYSTEMTIME* time);
/// Sets it; the day of the week is not looked at. 0, the clock unchanged and errno set, for a time that the
/// calendar does not have, without the right to set the clock, and when the clock cannot be set.
BOOL SetLocalTime(const SYSTEMTIME* time);

// The right to set the clock: every process has it and must enable it. Whether the machine's clock can be set
// SetLocalTime finds out.
inline constexpr DWORD TOKEN_QUERY = 0x0008;
inline constexpr DWORD TOKEN_ADJUST_PRIVILEGES = 0x0020;
inline constexpr DWORD SE_PRIVILEGE_ENABLED = 0x0002;

struct LUID {
    DWORD LowPart;
    LONG HighPart;
};
struct LUID_AND_ATTRIBUTES {
    LUID Luid;
    DWORD Attributes;
};
struct TOKEN_PRIVILEGES {
    DWORD PrivilegeCount;
    LUID_AND_ATTRIBUTES Privileges[1];
};

HANDLE GetCurrentProcess();
/// Nonzero, and a token to be closed, for the current process; `access` says what the token is good for.
BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token);
/// Knows "SeSystemtimePrivilege"; `system` must be null.
BOOL LookupPrivilegeValueA(const char* system, const char* name, LUID* privilege);
/// Enables or disables the right. Zero unless the token was opened with TOKEN_ADJUST_PRIVILEGES and
/// TOKEN_QUERY.
BOOL AdjustTokenPrivileges(HANDLE token, BOOL disable_all, TOKEN_PRIVILEGES* wanted, DWORD previous_size,
                           TOKEN_PRIVILEGES* previous, DWORD* needed_size);

#endif
