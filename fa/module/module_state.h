// Module-wide state: one copy per loaded module, shared by its threads and by the driver's callbacks.
#pragma once

#include <atomic>
#include <cstdint>

namespace Talwen {

class BC_FA;

/// The one object, set by BC_FA's default constructor; null before it and after its destruction.
extern std::atomic<BC_FA*> FA_Instance;

// Flags. Each has one writer in normal operation; atomics, so that any thread may read them.
extern std::atomic<bool> Comm_New_Version;      ///< true: GEM points decide, false: FA settings decide
extern std::atomic<bool> Main_Monitor_Running;  ///< true while Thread_FA_Main_Monitor runs
extern std::atomic<bool> TRID_Monitor_Running;  ///< true while Thread_FA_TRID_Monitor runs
extern std::atomic<bool> Reconnect;             ///< raised by the event command, lowered by the main monitor

bool QFA_Get_Comm_New_Version_Flag();
bool QFA_Get_Main_Monitor_Running_Flag();
bool QFA_Get_TRID_Monitor_Running_Flag();
bool QFA_Get_Reconnect_Flag();

}  // namespace Talwen
