// The equipment clock: what GetLocalTime reads and SetLocalTime sets. On Windows it is the system's, and
// nothing of this is there.
//
// Elsewhere it is the machine's clock and an offset of this process's own: SetLocalTime moves the offset, and
// the machine's clock stays. With FA_SYSTEM_CLOCK=1 in the environment SetLocalTime sets the machine's clock
// instead, which needs the right to do so. Any thread.
#pragma once

#if !defined(_WIN32)

#include <chrono>

#include "winapi/winapi.h"

namespace winapi {

/// The equipment clock runs this far ahead of the machine's; 0 at start.
void set_clock_offset(std::chrono::milliseconds offset);

/// Asked first by every SetLocalTime: 0 refuses it (errno is EPERM), any other value is its result when the
/// clock was set. Null, as at start: nothing is asked. Called on the thread that sets the clock.
using SetClockHook = BOOL (*)(const SYSTEMTIME& time);
void set_clock_hook(SetClockHook hook);

/// The right to set the clock, as enabled by AdjustTokenPrivileges; off at start. SetLocalTime asks for it.
void set_clock_privilege(bool enabled);
bool clock_privilege();
/// Tokens that were opened and not closed yet.
int open_tokens();

}  // namespace winapi

#endif
