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

#include <mutex>

using BOOL = int;
using DWORD = unsigned int;
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
void DeleteCriticalSection(CRITICAL_SECTION* section);

#endif
