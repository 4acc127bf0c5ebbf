// The main monitor: the thread that owns the link and sends the queued primaries, one at a time.
#pragma once

namespace Talwen {

class QSequence;

/// The thread's body; returns when the module has to end. Main_Monitor_Running is true meanwhile.
void Run_Connection_Monitor(QSequence& module);

}  // namespace Talwen
