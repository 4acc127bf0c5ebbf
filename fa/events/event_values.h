// The values that an event's context is made of: one table for all families (event_values.cpp).
//
// Called with Event_Mutex held.
#pragma once

#include "fa/events/event_context.h"

namespace Talwen {

/// One event on its way: what came with it, and the object that its fields name.
struct Event_Context {
    BC_FA& fa;
    int kind;
    const Event_Fields& fields;
    int index;  ///< port or process module, from 0
    int slot;   ///< from 0
};

/// Finds the port, slot or process module that the family's fields name; false when there is none.
bool Check_Event_Fields(Event_Family family, Event_Context& event);
/// Writes every data variable and GEM point of the family. What an event does not carry becomes 0 or empty,
/// so that no report shows a value of an earlier event.
void Write_Event_Values(Event_Family family, const Event_Context& event);

}  // namespace Talwen
