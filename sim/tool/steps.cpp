#include "sim/tool/steps.h"

#include <array>
#include <optional>

#include "sim/text.h"

namespace sim {

namespace {

struct Command {
    ToolStep step;
    std::string_view text;
};

using enum ToolStep;

// PORT_STATE 11 shares its collection event with EQUIPMENT_STATE 1, and PORT_TRANSFER its events with
// PORT_STATE, so neither is used for a meaning of its own.
constexpr Command commands[] = {
    {carrier_placed, "PORT_MATERIAL 1|{port}"},
    {carrier_placed, "PORT_STATE 1|{port}"},
    {carrier_placed, "CARRIER_ASSOC 1|{port}"},
    {carrier_clamped, "CARRIER_ACTION 1|{port}"},
    {carrier_clamped, "PORT_STATE 2|{port}"},
    {carrier_id_read, "CARRIER_ID 1|{port}"},
    {carrier_docked, "CARRIER_ACTION 11|{port}"},
    {carrier_docked, "PORT_STATE 3|{port}"},
    {carrier_id_verified, "CARRIER_ID 2|{port}"},
    {carrier_door_opened, "CARRIER_ACTION 21|{port}"},
    {slot_map_read, "CARRIER_MAP 1|{port}"},
    {slot_map_read, "PORT_STATE 4|{port}"},
    {slot_map_verified, "CARRIER_MAP 2|{port}"},
    {carrier_locked, "CARRIER_ACTION 31|{port}"},
    {carrier_unlocked, "CARRIER_ACTION 32|{port}"},
    {carrier_door_closed, "CARRIER_ACTION 22|{port}"},
    {carrier_undocked, "CARRIER_ACTION 12|{port}"},
    {carrier_unclamped, "CARRIER_ACTION 2|{port}"},
    {carrier_removed, "CARRIER_ASSOC 2|{port}"},
    {carrier_removed, "PORT_MATERIAL 2|{port}"},
    {carrier_removed, "PORT_STATE 12|{port}"},
    {access_mode_changed, "PORT_AMHS {number}|{port}"},

    {lot_started, "PRCSJOB_STATE 1|{port}"},
    {lot_started, "PORT_STATE 5|{port}"},
    {lot_started, "CARRIER_ACCESS 2|{port}"},
    {lot_paused, "PRCSJOB_STATE 2|{port}"},
    {lot_paused, "PORT_STATE 6|{port}"},
    {lot_resumed, "PRCSJOB_STATE 3|{port}"},
    {lot_resumed, "PORT_STATE 7|{port}"},
    {lot_stopping, "PRCSJOB_STATE 4|{port}"},
    {lot_completed, "PRCSJOB_STATE 5|{port}"},
    {lot_completed, "CARRIER_ACCESS 3|{port}"},
    {lot_completed, "PORT_STATE 8|{port}"},
    {lot_stopped, "PRCSJOB_STATE 6|{port}"},
    {lot_stopped, "CARRIER_ACCESS 4|{port}"},
    {lot_stopped, "PORT_STATE 9|{port}"},
    {lot_aborted, "PRCSJOB_STATE 7|{port}"},
    {lot_aborted, "CARRIER_ACCESS 4|{port}"},
    {lot_aborted, "PORT_STATE 10|{port}"},

    {wafer_at_source, "SUBST_TRACK 0|{port}|{slot}||3|||"},
    {wafer_left_carrier, "SUBST_TRACK 0|{port}|{slot}|{from}|5|{from_slot}|{to}|{to_slot}"},
    {wafer_placed, "SUBST_TRACK 0|{port}|{slot}|{from}|6|{from_slot}|{to}|{to_slot}"},
    {wafer_picked, "SUBST_TRACK 0|{port}|{slot}|{from}|7|{from_slot}|{to}|{to_slot}"},
    {wafer_into_carrier, "SUBST_TRACK 0|{port}|{slot}|{from}|8|{from_slot}|{to}|{to_slot}"},
    {wafer_aligned, "SUBST_TRACK 0|{port}|{slot}||14|||"},
    {wafer_id_read, "SUBST_OCR 1|{port}|{slot}"},
    {wafer_at_destination, "SUBST_TRACK 0|{port}|{slot}||4|||"},
    {wafer_aborted, "SUBST_TRACK 0|{port}|{slot}||11|||"},

    {process_started, "PM_STATE 1|{module}"},
    {process_started, "SUBST_TRACK 0|{port}|{slot}||9|||"},
    {step_started, "PM_STATE 3|{module}|{name}|{number}"},
    {step_held, "PM_STATE 5|{module}|{name}|{number}"},
    {step_ended, "PM_STATE 4|{module}|{name}|{number}"},
    {process_ended, "PM_STATE 6|{module}|{number}"},
    {wafer_processed, "SUBST_TRACK 0|{port}|{slot}||10|||"},
    {chamber_idle, "PM_STATE 2|{module}"},

    {equipment_idle, "EQUIPMENT_STATE 1"},
    {equipment_running, "EQUIPMENT_STATE 2"},
    {alarm_set, "SEND_ALARM_POST {alarm}"},
    {alarm_set, "ALARM_REPORT 1|{alarm}|{number}|{name}"},
    {alarm_cleared, "SEND_ALARM_CLEAR {alarm}"},
    {alarm_cleared, "ALARM_REPORT 2|{alarm}|{number}|{name}"},
};

std::string fact(std::string_view name, const ToolFacts& facts) {
    if (name == "port") return to_text(facts.port);
    if (name == "slot") return to_text(facts.slot);
    if (name == "from") return std::string(facts.from);
    if (name == "from_slot") return to_text(facts.from_slot);
    if (name == "to") return std::string(facts.to);
    if (name == "to_slot") return to_text(facts.to_slot);
    if (name == "module") return to_text(facts.module);
    if (name == "number") return to_text(facts.number);
    if (name == "alarm") return to_text(facts.alarm);
    return std::string(facts.name);
}

std::string fill(std::string_view text, const ToolFacts& facts) {
    std::string filled;
    for (std::size_t open = text.find('{'); open != std::string_view::npos; open = text.find('{')) {
        const std::size_t close = text.find('}', open);
        filled += text.substr(0, open);
        filled += fact(text.substr(open + 1, close - open - 1), facts);
        text.remove_prefix(close + 1);
    }
    return filled += text;
}

}  // namespace

std::vector<std::string> event_commands(ToolStep step, const ToolFacts& facts) {
    std::vector<std::string> texts;
    for (const Command& command : commands) {
        if (command.step == step) texts.push_back(fill(command.text, facts));
    }
    return texts;
}

}  // namespace sim
