// What the tool does and how long it takes, as tables. Times are seconds of machine time; a lot of 25 wafers
// takes a little over an hour with four process modules.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tool/steps.h"

namespace sim {

struct MachineState;

/// The modules that every tool has beside those of its machine file: the two with the robots, the aligner,
/// the lock on the way in and the one on the way out.
inline constexpr std::array<const char*, 5> other_modules = {"EFEM", "TM", "Aligner", "LL1", "LL2"};

// ---- a load port
// ---------------------------------------------------------------------------------------------

enum class PortState {
    empty,
    busy,        // a sequence below is under way
    identified,  // docked, waits for ProceedWithCarrierID
    mapped,      // open, waits for ProceedWithSlotMap
    ready,       // waits for the lot's start
    running,
    paused,
    stopping,  // the wafers under way come back
    undocked,  // the lot is over
    unloaded,  // the host lets it go: it may be fetched
};

/// One step of a sequence: after that many seconds the port's points are set and the step's events are
/// posted.
struct PortStep {
    double seconds;
    ToolStep step;
    std::string_view points;  // "NAME=NUMBER NAME=NUMBER", below the port's name
};

extern const std::span<const PortStep> arrival, closing;
/// The points of a port whose carrier was taken away.
extern const std::string_view empty_port;

/// What a scheduler request does, by the state of its port. A state that has no row refuses.
struct PortRequest {
    enum class Does { sequence, start_lot, pause_lot, resume_lot, stop_lot, abort_lot, set_access_mode };

    std::string_view word;
    PortState in;
    Does does = Does::sequence;
    std::span<const PortStep> steps = {};
    PortState then = PortState::busy;  // the port's state when the sequence is through
};

extern const std::span<const PortRequest> port_requests;

/// Results of the scheduler other than FUNC_FAILED and FUNC_FINISHED.
enum SchedulerResult : int {
    no_such_port = 101,
    running_automatically = 102,
    interface_busy = 103,
    maintenance_busy = 104,
    lot_runs = 105,
};

// ---- a wafer's way
// -------------------------------------------------------------------------------------------

enum class At { carrier, aligner, lock_in, chamber, lock_out, home };

enum class Robot { atmospheric, vacuum };
inline constexpr std::size_t robot_count = 2;

/// The module of a place of which there is one; empty for carriers and process modules.
std::string_view module_of(At place);
std::string_view module_of(Robot robot);

/// A robot's way with a wafer, from the pick to the place.
struct Move {
    At from, to;
    Robot robot;
    double pick, place;
};

/// The moves, the one nearest to the wafer's home first: it is tried first.
extern const std::array<Move, 6> moves;

/// What happens to a wafer at a place of which there is one.
struct Activity {
    At place;
    double seconds;
    std::string_view before, after;  // points of the module as the activity begins and ends
    double turnaround;               // seconds after the wafer has left until the next one may come
    std::string_view turning, turned;
};

extern const std::array<Activity, 3> activities;

// ---- a process module
// ----------------------------------------------------------------------------------------

/// Levels are fractions of the range of the point that they drive.
struct RecipeStep {
    std::string name;
    double seconds;
    double pressure, gas, source, bias;
};

/// The steps of a recipe that the machine file does not spell out; with names, as many as those.
std::vector<RecipeStep> recipe_steps(const std::vector<std::string>& names);

/// A point of a process module that follows the recipe step: its rest value + level * scale * the point's
/// range.
struct MovingPoint {
    std::string_view name;
    double RecipeStep::*level;
    double scale;
    double noise;  // of the range, either way
};

extern const std::span<const MovingPoint> moving_points;

/// Where in an alarm's step it strikes, and how long it holds the module.
inline constexpr double alarm_after = 0.5;
inline constexpr double alarm_hold_least = 15, alarm_hold_most = 45;

}  // namespace sim
