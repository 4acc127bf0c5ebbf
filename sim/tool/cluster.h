// The cluster tool itself: load ports, an atmospheric robot, an aligner, a load lock for each direction, a
// vacuum robot and the process modules. It has no thread and no clock: its owner runs the timeline's steps.
// One thread at a time.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/machine/state.h"
#include "sim/tool/points.h"
#include "sim/tool/tables.h"
#include "sim/tool/timeline.h"
#include "sim/tool/tool.h"

namespace sim {

/// Status of a carrier's slot, as the cluster-tool point gives it.
enum WaferStatus : int { no_wafer = 0, waiting = 1, under_way = 2, processed = 3, aborted = 4 };
/// MAIN_CONTROL of a carrier module.
enum MainControl : int { lot_idle = 0, lot_running = 1, lot_paused = 2, lot_stopping = 3 };

/// How much faster than life the tool is; not below or above what its clock can count.
inline double speed_of(const MachineState& machine) {
    return std::clamp(machine.tool.speed, 1e-4, 1e9);
}

class Cluster {
  public:
    using Sink = std::function<void(const ToolEvent&)>;

    /// The machine outlives the cluster.
    Cluster(MachineState& machine, Sink sink);
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;

    Timeline& timeline() { return timeline_; }

    /// A carrier comes to a load port (from 0; one that was there is gone), or is taken away. A lot that runs
    /// from it is aborted.
    void carrier_placed(int port, std::string_view id);
    void carrier_taken(int port);
    /// A scheduler request, "WORDn(F) ARGUMENTS"; its result.
    int request(std::string_view text);

    PortState port_state(int port) const { return ports_[static_cast<std::size_t>(port)].state; }

  private:
    /// A stay in one of several process modules.
    struct Visit {
        std::vector<std::size_t> choices;
        std::string recipe;
        std::vector<RecipeStep> steps;
    };
    using Path = std::vector<Visit>;

    struct Wafer {
        int port, slot;
        std::string id;
        const Path* path;
        At at = At::carrier;
        bool out = false;                        // has left its slot
        bool busy = false;                       // on a robot, or something is done to it
        std::uint64_t waits_since = 0;           // a count, smaller is longer
        std::vector<std::size_t> chambers = {};  // one per visit, once they are taken
        std::size_t visit = 0;

        const Visit& now() const { return (*path)[visit]; }
        std::size_t chamber() const { return chambers[visit]; }
        bool last_visit() const { return visit + 1 == path->size(); }
    };

    struct Lot {
        std::string id, recipe;
        std::vector<Path> paths;  // by turns
        std::deque<Wafer> wafers;
        std::size_t released = 0, home = 0;
    };

    struct Port {
        PortState state = PortState::empty;
        std::optional<Lot> lot;
        std::uint64_t epoch = 0;         // steps of an earlier one are dropped
        std::uint64_t last_release = 0;  // a count
        std::uint64_t unloads = 0;       // a count; an earlier one's fetch is dropped
    };

    struct Chamber {
        std::string name;
        RecipePoints points;
        Wafer* taken_by = nullptr;
        bool processing = false;
        std::size_t step = 0;
        std::optional<std::size_t> alarm_step = std::nullopt;
        const Alarms::Alarm* alarm = nullptr;  // while it is set
        Timeline::Milliseconds began = 0, step_began = 0;
    };

    /// The aligner or a lock.
    struct Place {
        Wafer* taken_by = nullptr;
        bool turning = false;
    };

    struct Words {
        std::string_view word, arguments;
        int port;
    };

    // ports.cpp
    static std::optional<Words> read_request(std::string_view text);
    int carry_out(const PortRequest& request, int port, std::string_view arguments);
    void start_sequence(int port, std::span<const PortStep> steps, PortState then);
    void next_port_step(int port, std::span<const PortStep> steps, PortState then);
    void port_step_done(int port, ToolStep step);
    void await_fetch(int port);
    void vacate(int port);
    void forget_carrier(int port);
    void map_slots(int port);
    int set_access_mode(int port, std::string_view mode);
    void transfer_state(int port, int state);
    bool routine_runs(const char* name, int port) const;
    void set_routine(int port, Talwen::FUNC_STATUS status);

    // lots.cpp
    int start_lot(int port, std::string_view arguments);
    bool knows_recipe(const std::string& recipe) const;
    bool fill_lot(Lot& lot, int port, int first, int last);
    std::vector<Path> paths_of(const std::string& recipe) const;
    std::optional<Path> path_of(const std::string& cluster_recipe) const;
    void announce_lot(int port, const std::string& job);
    void change_lot(int port, PortState state, ToolStep step);
    void end_lot_if_done(int port);
    void end_lot(int port, ToolStep step);
    void abort_lot(int port);
    void free_what_is_taken_by(int port);

    // wafers.cpp
    void dispatch();
    Wafer* candidate(const Move& move);
    bool may_move(const Wafer& wafer, const Move& move) const;
    bool take_chambers(Wafer& wafer);
    void begin_move(const Move& move, Wafer& wafer);
    void picked(const Move& move, Wafer& wafer);
    void placed(const Move& move, Wafer& wafer);
    void leave(At place, Wafer& wafer);
    void arrive(Wafer& wafer);
    void come_home(Wafer& wafer);
    std::string_view module_name(At at, const Wafer& wafer, std::size_t visit) const;
    Place* place(At at);
    void show_place(At at, std::string_view id);
    void tell_wafer(ToolStep step, const Wafer& wafer);

    // chambers.cpp
    void begin_process(Wafer& wafer);
    void begin_step(Wafer& wafer);
    void strike(Wafer& wafer);
    void clear_alarm(Chamber& chamber, const Wafer& wafer);
    void end_step(Wafer& wafer);
    void end_process(Wafer& wafer);
    void abort_process(Chamber& chamber);
    void show_chamber(Chamber& chamber, const Wafer* wafer);
    void tell_chamber(ToolStep step, const Wafer& wafer, int number, std::string_view name);
    const Alarms::Alarm* choose_alarm(std::string_view module);
    void start_noise();
    void make_noise();

    // cluster.cpp
    /// Runs the action after some seconds of machine time, unless what goes on at the port has ended by then.
    void after(double seconds, int port, std::function<void()> action);
    void tell(ToolStep step, const ToolFacts& facts);
    void tell_port(ToolStep step, int port, int number = 0);
    template <class Value>
    void set_ctc(Ctc point, int port, int slot, const Value& value) {
        if (ValueTable* table = machine_.ctc_table(point, port, slot))
            table->set(static_cast<std::size_t>(point), value);
    }
    std::string ctc_text(Ctc point, int port, int slot) const;
    int ctc_number(Ctc point, int port, int slot) const;
    Port& port_at(int port) { return ports_[static_cast<std::size_t>(port)]; }
    CarrierModule& carrier_module(int port) const {
        return machine_.carrier_modules[static_cast<std::size_t>(port)];
    }

    MachineState& machine_;
    Sink sink_;
    Timeline timeline_;
    Chance chance_, noise_;
    std::vector<Port> ports_;
    std::deque<Chamber> chambers_;  // in the order of the process modules
    std::array<Place, 3> places_;   // aligner, lock in, lock out
    std::array<Wafer*, robot_count> robots_{};
    std::uint64_t count_ = 0;  // of releases and waits
    int jobs_ = 0;
    int lots_ = 0;  // that run now
    bool noisy_ = false;
};

}  // namespace sim
