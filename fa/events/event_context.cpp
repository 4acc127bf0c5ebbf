#include "fa/events/event_context.h"

#include "fa/events/event_values.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/primaries.h"

namespace Talwen {

namespace {

/// True while this thread is inside an event. The framework never raises one from there; if a controller
/// does, it is refused, since its values would mix with those of the outer event.
thread_local bool inside_an_event = false;

class Event_Guard {
  public:
    Event_Guard() { inside_an_event = true; }
    ~Event_Guard() { inside_an_event = false; }
    Event_Guard(const Event_Guard&) = delete;
    Event_Guard& operator=(const Event_Guard&) = delete;

  private:
    const std::lock_guard<std::mutex> lock_{Event_Mutex};
};

}  // namespace

// The report is queued at once, because queueing builds it from the values just written.
bool Raise_Event(BC_FA& fa, Event_Family family, int ceid, int kind, const Event_Fields& fields) {
    if (inside_an_event) return false;
    const Event_Guard guard;
    Event_Context event{fa, kind, fields, 0, 0};
    if (!Check_Event_Fields(family, event)) return false;
    Write_Event_Values(family, event);
    return Queue_Event_Report(ceid);
}

bool Raise_Substrate_State_Event(BC_FA& fa, int kind, const Event_Fields& fields) {
    if (kind < 1 || kind > 3) return false;
    return Raise_Event(fa, Event_Family::substrate_state, 31000 + kind, kind, fields);
}

bool Raise_Port_Load_Event(BC_FA& fa, int kind, const Event_Fields& fields) {
    if (kind < 1 || kind > 7) return false;
    const int ceid = kind == 7 ? 40201 : 40100 + kind;
    return Raise_Event(fa, Event_Family::port_load, ceid, kind, fields);
}

}  // namespace Talwen
