// The cluster tool that moves: carries out what the scheduler is asked for, moves carriers and wafers in
// machine time and posts the event commands of each step. It runs beside the module when [tool] moving is
// true.
//
// Machine time rests while there is nothing to do, and a step waits until the module has handled the events
// of the last, so a run's events depend on the seed and the requests alone. Any thread may call what is
// declared here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sim/tool/steps.h"

namespace sim {

/// One event command that the tool has posted.
struct ToolEvent {
    std::int64_t time;  ///< machine time since the start, milliseconds
    ToolStep step;
    int port, slot;    ///< the carrier's or wafer's, from 0; -1 when it concerns none
    std::string text;  ///< the event command

    bool operator==(const ToolEvent&) const = default;
};

/// Starts the tool's thread if the machine moves; carriers that are on the load ports arrive then. With
/// moving = false or a speed that is not above 0, and before the start, everything below does nothing.
void start_tool();
/// Ends the thread; unfinished work is dropped. Harmless when it does not run.
void stop_tool();

/// A request to the scheduler; its result as QSCH_RUN_F_SCHEDULER gives it. Nothing while no tool runs.
std::optional<int> ask_tool(std::string_view request);
/// An event for the main monitor: "$FA SIGNALTOWER  RED:1|..." sets the lamps of a tool that moves.
void tell_main_monitor(std::string_view event);
/// The tool, when it runs, sees a carrier come to a load port or go (port from 0, one that is there); false
/// when it does not run.
bool tool_places_carrier(int port, std::string_view id);
bool tool_takes_carrier(int port);

}  // namespace sim
