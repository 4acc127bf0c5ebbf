// Module-wide state: one copy per loaded module, shared by its threads and by the driver's callbacks. The
// references name members of Module_Data (fa/module/module_data.h).
#pragma once

#include <atomic>

namespace Talwen {

class QSequence;

/// The one object (a BC_FA), set by its default constructor; null before it and after its destruction.
extern std::atomic<QSequence*>& FA_Instance;

// Flags. Each has one writer in normal operation; atomics, so that any thread may read them.
extern std::atomic<bool>& Comm_New_Version;      ///< true: GEM points decide, false: FA settings decide
extern std::atomic<bool>& Main_Monitor_Running;  ///< true while Thread_FA_Main_Monitor runs
extern std::atomic<bool>& TRID_Monitor_Running;  ///< true while Thread_FA_TRID_Monitor runs
extern std::atomic<bool>& Reconnect;             ///< raised by the event command, lowered by the main monitor
extern std::atomic<bool>& Threads_Ending;        ///< true while a destructor ends the module's threads

bool QFA_Get_Comm_New_Version_Flag();
bool QFA_Get_Main_Monitor_Running_Flag();
bool QFA_Get_TRID_Monitor_Running_Flag();
bool QFA_Get_Reconnect_Flag();

/// True when `module` has to end: the framework's stop request, or the object is being destroyed.
bool Module_Stopping(const QSequence& module);
/// Sleeps like QTime_MSleep, but in slices, so that a stop is seen within 100 ms.
void Sleep_Unless_Stopping(const QSequence& module, unsigned int ms);

/// Held by a driver callback while it uses the module object; `module()` is null when there is none (any
/// more).
class Callback_Use {
  public:
    Callback_Use();
    ~Callback_Use();
    Callback_Use(const Callback_Use&) = delete;
    Callback_Use& operator=(const Callback_Use&) = delete;
    QSequence* module() const { return module_; }

    /// Waits until no callback uses the object. Clear FA_Instance first.
    static void await_none();

  private:
    QSequence* module_;
};

}  // namespace Talwen
