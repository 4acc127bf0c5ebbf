// The cluster tool's wafers: which one moves next, and what a move does.
#include <algorithm>

#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {

namespace {

// Of EFEM.RobotState and TM.RobotState.
constexpr int robot_idle = 1, robot_picks = 3, robot_places = 4;

const Activity& activity_at(At place) {
    return *std::ranges::find(activities, place, &Activity::place);
}

std::size_t index(Robot robot) {
    return static_cast<std::size_t>(robot);
}

}  // namespace

/// Starts every move that can start now.
void Cluster::dispatch() {
    for (const Move& move : moves) {
        if (robots_[index(move.robot)] != nullptr) continue;
        if (Wafer* wafer = candidate(move)) begin_move(move, *wafer);
    }
}

/// Out of the carriers the port that had its turn longest ago; elsewhere the wafer that waits longest.
Cluster::Wafer* Cluster::candidate(const Move& move) {
    const auto rank = [&](const Wafer& wafer) {
        return move.from == At::carrier ? port_at(wafer.port).last_release : wafer.waits_since;
    };
    Wafer* best = nullptr;
    for (Port& port : ports_) {
        if (!port.lot || port.state == PortState::paused) continue;
        if (port.state == PortState::stopping && move.from == At::carrier) continue;
        for (Wafer& wafer : port.lot->wafers) {
            if (may_move(wafer, move) && (best == nullptr || rank(wafer) < rank(*best))) best = &wafer;
        }
    }
    if (best != nullptr && move.from == At::lock_in && !take_chambers(*best)) return nullptr;
    return best;
}

bool Cluster::may_move(const Wafer& wafer, const Move& move) const {
    if (wafer.at != move.from || wafer.busy) return false;
    if (move.from == At::chamber && wafer.last_visit() != (move.to == At::lock_out)) return false;
    if (move.to == At::home || move.to == At::chamber) return true;
    const Place& to = places_[static_cast<std::size_t>(move.to == At::aligner   ? 0
                                                       : move.to == At::lock_in ? 1
                                                                                : 2)];
    return to.taken_by == nullptr && !to.turning;
}

/// All the process modules of its path, or none.
bool Cluster::take_chambers(Wafer& wafer) {
    std::vector<std::size_t> taken;
    for (const Visit& visit : *wafer.path) {
        const auto free = std::ranges::find_if(visit.choices, [&](std::size_t i) {
            return chambers_[i].taken_by == nullptr || std::ranges::count(taken, i) > 0;
        });
        if (free == visit.choices.end()) return false;
        taken.push_back(*free);
    }
    for (const std::size_t i : taken) chambers_[i].taken_by = &wafer;
    wafer.chambers = std::move(taken);
    return true;
}

void Cluster::begin_move(const Move& move, Wafer& wafer) {
    robots_[index(move.robot)] = &wafer;
    wafer.busy = true;
    if (Place* to = place(move.to)) to->taken_by = &wafer;
    if (move.from == At::carrier) {
        ++port_at(wafer.port).lot->released;
        port_at(wafer.port).last_release = ++count_;
    }
    put_point(machine_, module_of(move.robot), "RobotState", robot_picks);
    put_point(machine_, module_of(move.robot), "RobotStation", module_name(move.from, wafer, wafer.visit));
    after(move.pick, wafer.port, [this, &move, &wafer] { picked(move, wafer); });
}

void Cluster::picked(const Move& move, Wafer& wafer) {
    const std::string_view robot = module_of(move.robot);
    const std::string_view from = module_name(move.from, wafer, wafer.visit);
    const bool from_carrier = move.from == At::carrier;
    wafer.out = true;
    leave(move.from, wafer);
    put_wafer(machine_, robot, "ArmA", wafer.id);
    put_point(machine_, robot, "RobotState", robot_places);
    count_point(machine_, robot, "RobotMoves");
    tell(from_carrier ? ToolStep::wafer_left_carrier : ToolStep::wafer_picked,
         {.port = wafer.port,
          .slot = wafer.slot,
          .from = from,
          .to = robot,
          .from_slot = from_carrier ? wafer.slot : 0});
    if (move.from == At::chamber && move.to == At::chamber) ++wafer.visit;
    put_point(machine_, robot, "RobotStation", module_name(move.to, wafer, wafer.visit));
    after(move.place, wafer.port, [this, &move, &wafer] { placed(move, wafer); });
}

void Cluster::placed(const Move& move, Wafer& wafer) {
    const std::string_view robot = module_of(move.robot);
    const bool home = move.to == At::home;
    robots_[index(move.robot)] = nullptr;
    put_wafer(machine_, robot, "ArmA", "");
    put_point(machine_, robot, "RobotState", robot_idle);
    wafer.at = move.to;
    tell(home ? ToolStep::wafer_into_carrier : ToolStep::wafer_placed,
         {.port = wafer.port,
          .slot = wafer.slot,
          .from = robot,
          .to = module_name(move.to, wafer, wafer.visit),
          .to_slot = home ? wafer.slot : 0});
    arrive(wafer);
}

/// The place that the wafer is picked from becomes free, a lock when it has changed back its pressure.
void Cluster::leave(At at, Wafer& wafer) {
    if (at == At::carrier) {
        set_ctc(Ctc::CMx_Wafer_Status, wafer.port, wafer.slot, under_way);
        count_point(machine_, "Tool", "WafersInTool");
        return;
    }
    if (at == At::chamber) {
        Chamber& chamber = chambers_[wafer.chamber()];
        put_wafer(machine_, chamber.name, "", "");
        const auto later = wafer.chambers.begin() + static_cast<std::ptrdiff_t>(wafer.visit) + 1;
        if (std::find(later, wafer.chambers.end(), wafer.chamber()) == wafer.chambers.end())
            chamber.taken_by = nullptr;
        return;
    }
    show_place(at, "");
    Place& left = *place(at);
    const Activity& activity = activity_at(at);
    left.taken_by = nullptr;
    left.turning = true;
    put_points(machine_, module_of(at), activity.turning);
    timeline_.after(activity.turnaround, [this, &left, &activity] {
        left.turning = false;
        put_points(machine_, module_of(activity.place), activity.turned);
        dispatch();
    });
}

void Cluster::arrive(Wafer& wafer) {
    if (wafer.at == At::home) return come_home(wafer);
    if (wafer.at == At::chamber) return begin_process(wafer);
    const Activity& activity = activity_at(wafer.at);
    show_place(wafer.at, wafer.id);
    put_points(machine_, module_of(wafer.at), activity.before);
    after(activity.seconds, wafer.port, [this, &wafer, &activity] {
        put_points(machine_, module_of(wafer.at), activity.after);
        if (wafer.at == At::aligner) {
            count_point(machine_, module_of(wafer.at), "AlignCount");
            put_point(machine_, module_of(wafer.at), "OcrText", wafer.id);
            put_point(machine_, module_of(wafer.at), "OcrScore", 97);
            tell_wafer(ToolStep::wafer_aligned, wafer);
            tell_wafer(ToolStep::wafer_id_read, wafer);
        } else {
            count_point(machine_, module_of(wafer.at), "CycleCount");
        }
        wafer.busy = false;
        wafer.waits_since = ++count_;
    });
}

void Cluster::come_home(Wafer& wafer) {
    const int port = wafer.port;
    wafer.busy = false;
    set_ctc(Ctc::CMx_Wafer_Status, port, wafer.slot, processed);
    set_ctc(Ctc::WAFER_REAL_COUNT, port, -1, static_cast<int>(++port_at(port).lot->home));
    count_point(machine_, "Tool", "WafersInTool", -1);
    count_point(machine_, "Tool", "WaferCount");
    tell_wafer(ToolStep::wafer_at_destination, wafer);
    end_lot_if_done(port);  // which may be the wafer's end
}

std::string_view Cluster::module_name(At at, const Wafer& wafer, std::size_t visit) const {
    if (at == At::chamber) return chambers_[wafer.chambers[visit]].name;
    if (at == At::carrier || at == At::home) return carrier_module(wafer.port).name;
    return module_of(at);
}

Cluster::Place* Cluster::place(At at) {
    switch (at) {
        case At::aligner: return &places_[0];
        case At::lock_in: return &places_[1];
        case At::lock_out: return &places_[2];
        default: return nullptr;
    }
}

void Cluster::show_place(At at, std::string_view id) {
    put_wafer(machine_, module_of(at), at == At::aligner ? "" : "Slot1", id);
}

void Cluster::tell_wafer(ToolStep step, const Wafer& wafer) {
    tell(step, {.port = wafer.port, .slot = wafer.slot});
}

}  // namespace sim
