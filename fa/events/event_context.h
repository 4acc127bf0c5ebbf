// Event-context routines: write the data variables of a collection event and queue its report.
//
// Which field feeds which variable: docs/events.md.
#pragma once

#include <array>
#include <mutex>
#include <string>

namespace Talwen {

class BC_FA;

/// A member of Module_Data; held while one event's values are written and its report is queued.
extern std::mutex& Event_Mutex;

/// The kinds of context that events carry.
enum class Event_Family {
    control_state,
    equipment_state,
    process_module,
    port_state,
    amhs,
    material,
    reserve,
    carrier_id,
    slot_map,
    association,
    access,
    carrier_action,
    manual_id,
    process_job,
    module_mode,
    spool,
    trace,
    recipe_edit,
    alarm_report,
    message_recognition,
    ec_change,
    operator_command,
    substrate_track,
    substrate_state,
    port_load,
    semi_transfer,
};

/// The fields A to F of an event; those it does not take are empty.
using Event_Fields = std::array<std::string, 6>;

/// Writes the variables of the family from the fields, then queues the report of `ceid`, both under
/// Event_Mutex: one event's values and report are never mixed with another's. False when a field names no
/// port, slot or module (then nothing is written), from within another event on the same thread, and when
/// nothing was queued. Any thread.
bool Raise_Event(BC_FA& fa, Event_Family family, int ceid, int kind, const Event_Fields& fields);

// Two families that no command raises; kept for callers within the module. False for a kind outside.
/// Kinds 1 to 3: events 31001 to 31003 of a substrate. A port, B slot.
bool Raise_Substrate_State_Event(BC_FA& fa, int kind, const Event_Fields& fields);
/// Kinds 1 to 6: events 40101 to 40106 of a load port, kind 7: 40201. A port, B reject code, C reject text.
bool Raise_Port_Load_Event(BC_FA& fa, int kind, const Event_Fields& fields);

}  // namespace Talwen
