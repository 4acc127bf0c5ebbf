#include "sim/tool/tables.h"

#include <iterator>

namespace sim {

namespace {

using enum ToolStep;
using Does = PortRequest::Does;
using enum PortState;

constexpr PortStep arrival_steps[] = {
    {0, carrier_placed, "CarrierPlaced=1 CarrierPresent=1 LoadLamp=0"},
    {2, carrier_clamped, "Clamped=1"},
    {3, carrier_id_read, ""},
    {4, carrier_docked, "Docked=1"},
};
constexpr PortStep open_steps[] = {
    {3, none, "LatchOpen=1"},
    {4, carrier_door_opened, "DoorOpen=1"},
    {10, slot_map_read, "MapDone=1"},
};
constexpr PortStep verify_and_open_steps[] = {
    {0, carrier_id_verified, ""},
    open_steps[0],
    open_steps[1],
    open_steps[2],
};
constexpr PortStep load_steps[] = {
    arrival_steps[1], arrival_steps[3], open_steps[0], open_steps[1], open_steps[2],
};
constexpr PortStep map_verified_steps[] = {{0, slot_map_verified, ""}};
constexpr PortStep read_id_steps[] = {{2, carrier_id_read, ""}};
constexpr PortStep lock_steps[] = {{1, carrier_locked, "Clamped=1"}};
constexpr PortStep unlock_steps[] = {{1, carrier_unlocked, "Clamped=0"}};
constexpr PortStep close_steps[] = {
    {4, carrier_door_closed, "DoorOpen=0 MapDone=0"},
    {3, none, "LatchOpen=0"},
    {4, carrier_undocked, "Docked=0"},
    {2, carrier_unclamped, "Clamped=0 UnloadLamp=1"},
};
constexpr PortStep unload_docked_steps[] = {close_steps[2], close_steps[3]};
// Undocked already; without an event, since only a carrier that was locked again is clamped.
constexpr PortStep unload_steps[] = {{1, none, "Clamped=0 UnloadLamp=1"}};

constexpr PortRequest requests[] = {
    {"ProceedWithCarrierID", identified, Does::sequence, verify_and_open_steps, mapped},
    {"LoadWithCarrierID", identified, Does::sequence, open_steps, mapped},
    {"LoadWithCarrierID", undocked, Does::sequence, load_steps, mapped},
    {"LoadWithCarrierID", unloaded, Does::sequence, load_steps, mapped},
    {"ProceedWithSlotMap", mapped, Does::sequence, map_verified_steps, ready},
    {"ReadCarrierID", identified, Does::sequence, read_id_steps, identified},
    {"ReadCarrierID", mapped, Does::sequence, read_id_steps, mapped},
    {"ReadCarrierID", ready, Does::sequence, read_id_steps, ready},
    {"ReadCarrierID", undocked, Does::sequence, read_id_steps, undocked},
    {"ReadCarrierID", unloaded, Does::sequence, read_id_steps, unloaded},
    {"LockWithCarrierID", identified, Does::sequence, lock_steps, identified},
    {"LockWithCarrierID", undocked, Does::sequence, lock_steps, undocked},
    {"LockWithCarrierID", unloaded, Does::sequence, lock_steps, undocked},
    {"UnlockWithCarrierID", identified, Does::sequence, unlock_steps, identified},
    {"UnlockWithCarrierID", undocked, Does::sequence, unlock_steps, undocked},
    {"UnlockWithCarrierID", unloaded, Does::sequence, unlock_steps, unloaded},
    {"UnloadWithCarrierID", identified, Does::sequence, unload_docked_steps, unloaded},
    {"UnloadWithCarrierID", mapped, Does::sequence, close_steps, unloaded},
    {"UnloadWithCarrierID", ready, Does::sequence, close_steps, unloaded},
    {"UnloadWithCarrierID", undocked, Does::sequence, unload_steps, unloaded},
    {"UnloadWithCarrierID", unloaded, Does::sequence, unload_steps, unloaded},
    {"START", mapped, Does::start_lot},
    {"START", ready, Does::start_lot},
    {"StartProcess", mapped, Does::start_lot},
    {"StartProcess", ready, Does::start_lot},
    {"PAUSE", running, Does::pause_lot},
    {"RESUME", paused, Does::resume_lot},
    {"STOP", running, Does::stop_lot},
    {"STOP", paused, Does::stop_lot},
    {"ABORT", running, Does::abort_lot},
    {"ABORT", paused, Does::abort_lot},
    {"ABORT", stopping, Does::abort_lot},
    {"ChangeAccessMode", empty, Does::set_access_mode},
    {"ChangeAccessMode", identified, Does::set_access_mode},
    {"ChangeAccessMode", mapped, Does::set_access_mode},
    {"ChangeAccessMode", ready, Does::set_access_mode},
    {"ChangeAccessMode", undocked, Does::set_access_mode},
    {"ChangeAccessMode", unloaded, Does::set_access_mode},
};

constexpr MovingPoint points_that_move[] = {
    {"PressureSetpoint", &RecipeStep::pressure, 1.0, 0.0},
    {"Pressure", &RecipeStep::pressure, 1.0, 0.002},
    {"ThrottlePosition", &RecipeStep::pressure, -2.0, 0.005},
    {"ArFlow", &RecipeStep::gas, 1.0, 0.002},
    {"ArSetpoint", &RecipeStep::gas, 1.0, 0.0},
    {"CF4Flow", &RecipeStep::gas, 0.6, 0.002},
    {"CF4Setpoint", &RecipeStep::gas, 0.6, 0.0},
    {"O2Flow", &RecipeStep::gas, 0.8, 0.002},
    {"O2Setpoint", &RecipeStep::gas, 0.8, 0.0},
    {"SourceSetpoint", &RecipeStep::source, 1.0, 0.0},
    {"SourceForward", &RecipeStep::source, 1.0, 0.003},
    {"SourceReflected", &RecipeStep::source, 0.04, 0.002},
    {"BiasSetpoint", &RecipeStep::bias, 1.0, 0.0},
    {"BiasForward", &RecipeStep::bias, 1.0, 0.003},
    {"BiasReflected", &RecipeStep::bias, 0.04, 0.002},
    {"BiasVdc", &RecipeStep::bias, -0.8, 0.004},
    {"HeInnerPressure", &RecipeStep::bias, 0.7, 0.002},
    {"HeOuterPressure", &RecipeStep::bias, 0.9, 0.002},
    {"ChuckTempInner", &RecipeStep::source, 0.05, 0.001},
    {"ChuckTempOuter", &RecipeStep::source, 0.04, 0.001},
    {"PlatenTempInner", &RecipeStep::source, 0.01, 0.001},
    {"PlatenTempOuter", &RecipeStep::source, 0.01, 0.001},
    {"WallTemp", &RecipeStep::source, 0.02, 0.001},
    {"EndpointSignal", &RecipeStep::source, 0.6, 0.01},
};

const RecipeStep usual_steps[] = {
    {"PUMP", 40, 0.0, 0.0, 0.0, 0.0},    {"STABLE", 60, 0.25, 0.3, 0.0, 0.0},
    {"MAIN", 300, 0.25, 0.3, 0.4, 0.3},  {"OVER", 150, 0.20, 0.25, 0.25, 0.15},
    {"PURGE", 50, 0.10, 0.15, 0.0, 0.0},
};

}  // namespace

const std::span<const PortStep> arrival = arrival_steps;
const std::span<const PortStep> closing = close_steps;
const std::string_view empty_port =
    "CarrierPlaced=0 CarrierPresent=0 Clamped=0 Docked=0 DoorOpen=0 LatchOpen=0 MapDone=0 WaferCount=0 "
    "LoadLamp=1 UnloadLamp=0";
const std::span<const PortRequest> port_requests = requests;
const std::span<const MovingPoint> moving_points = points_that_move;

// A wafer takes all its process modules before it leaves the lock on the way in, a robot starts only when the
// place to put the wafer is free, and there is a lock for each direction: no two wafers can wait for each
// other.
const std::array<Move, 6> moves = {{
    {At::lock_out, At::home, Robot::atmospheric, 6, 8},
    {At::chamber, At::lock_out, Robot::vacuum, 6, 8},
    {At::chamber, At::chamber, Robot::vacuum, 6, 8},
    {At::lock_in, At::chamber, Robot::vacuum, 6, 8},
    {At::aligner, At::lock_in, Robot::atmospheric, 5, 7},
    {At::carrier, At::aligner, Robot::atmospheric, 8, 6},
}};

const std::array<Activity, 3> activities = {{
    {At::aligner, 12, "State=2", "State=3", 0, "State=1", "State=1"},
    {At::lock_in, 40, "State=3", "State=2", 30, "State=4", "State=1"},
    {At::lock_out, 30, "State=4", "State=1", 40, "State=3", "State=2"},
}};

std::string_view module_of(At place) {
    switch (place) {
        case At::aligner: return other_modules[2];
        case At::lock_in: return other_modules[3];
        case At::lock_out: return other_modules[4];
        default: return {};
    }
}

std::string_view module_of(Robot robot) {
    return other_modules[robot == Robot::atmospheric ? 0 : 1];
}

std::vector<RecipeStep> recipe_steps(const std::vector<std::string>& names) {
    std::vector<RecipeStep> steps;
    if (names.empty()) {
        steps.assign(std::begin(usual_steps), std::end(usual_steps));
    }
    for (const std::string& name : names) {
        RecipeStep step = usual_steps[2];
        step.name = name;
        step.seconds = 600.0 / static_cast<double>(names.size());
        steps.push_back(std::move(step));
    }
    return steps;
}

}  // namespace sim
