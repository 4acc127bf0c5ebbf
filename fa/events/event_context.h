// Event-context routines: write the data variables of a collection event and queue its report.
#pragma once

namespace Talwen {

class BC_FA;

/// A control-state change: the run control goes to the screens, then the report of `ceid` is queued. One
/// event's values and report are never mixed with another's. False when nothing was queued. Any thread.
bool Raise_Control_State_Event(BC_FA& fa, int ceid);

}  // namespace Talwen
