// The module's two threads and its driver callbacks: who still runs, and how they are told to end.
#pragma once

namespace Talwen {

class BC_FA;

/// Starts the main monitor, then the trace monitor, on `module`.
void Start_Module_Threads(BC_FA& module);
/// Asks both threads to end at their next safe point, waits for them, then for every running driver callback.
/// Harmless when nothing runs.
void End_Module_Threads();
/// True while the threads are being ended by a destructor.
bool Module_Threads_Ending();
/// True when `module` is to end: the framework's stop request, or the object is being destroyed.
bool Module_Stopping(const BC_FA& module);
/// Sleeps like QTime_MSleep, but in slices, so that a stop is seen within 100 ms.
void Sleep_Unless_Stopping(const BC_FA& module, unsigned int ms);

/// Held by a driver callback while it uses the module object; `module()` is null when there is none (any
/// more).
class Callback_Use {
  public:
    Callback_Use();
    ~Callback_Use();
    Callback_Use(const Callback_Use&) = delete;
    Callback_Use& operator=(const Callback_Use&) = delete;
    BC_FA* module() const { return module_; }

  private:
    BC_FA* module_;
};

}  // namespace Talwen
