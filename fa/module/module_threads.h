// The module's two threads: their start and their end.
#pragma once

namespace Talwen {

class BC_FA;

/// Starts the main monitor, then the trace monitor, on `module`.
void Start_Module_Threads(BC_FA& module);
/// Asks both threads to end at their next safe point, waits for them, then for every running driver callback.
/// Harmless when nothing runs.
void End_Module_Threads();

}  // namespace Talwen
