// What happens on the tool, and the event commands that report it to the module.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sim {

enum class ToolStep {
    none,  // moves points alone
    // a load port
    carrier_placed,
    carrier_clamped,
    carrier_id_read,
    carrier_docked,
    carrier_id_verified,
    carrier_door_opened,
    slot_map_read,
    slot_map_verified,
    carrier_locked,
    carrier_unlocked,
    carrier_door_closed,
    carrier_undocked,
    carrier_unclamped,
    carrier_removed,
    access_mode_changed,
    // a lot
    lot_started,
    lot_paused,
    lot_resumed,
    lot_stopping,
    lot_completed,
    lot_stopped,
    lot_aborted,
    // a wafer
    wafer_at_source,
    wafer_left_carrier,
    wafer_placed,
    wafer_picked,
    wafer_aligned,
    wafer_id_read,
    wafer_into_carrier,
    wafer_at_destination,
    wafer_aborted,
    // a process module
    process_started,
    step_started,
    step_held,
    step_ended,
    process_ended,  // number 0, or 1 when it was aborted
    wafer_processed,
    chamber_idle,
    // the tool
    equipment_idle,
    equipment_running,
    alarm_set,
    alarm_cleared,
};

/// What a step is about; a command takes what it names. Ports, slots and modules count from 0.
struct ToolFacts {
    int port = -1, slot = -1;
    std::string_view from = {}, to = {};
    int from_slot = 0, to_slot = 0;
    int module = -1;
    int number = 0;  // recipe step, access mode, process result or alarm code
    int alarm = 0;
    std::string_view name = {};  // of the recipe step; the alarm's text
};

/// The event commands of a step, in the order in which they are posted.
std::vector<std::string> event_commands(ToolStep step, const ToolFacts& facts);

}  // namespace sim
