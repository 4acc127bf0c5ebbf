// The cluster tool's lots: from the request that starts one to its end.
#include <algorithm>
#include <utility>

#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {

namespace {

/// The last field of `rest`, after the last comma; `rest` keeps what is before it.
std::string_view take_last(std::string_view& rest) {
    const std::size_t comma = rest.rfind(',');
    const std::string_view field = comma == std::string_view::npos ? rest : rest.substr(comma + 1);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(0, comma);
    return trim(field);
}

int main_control(PortState state) {
    switch (state) {
        case PortState::running: return lot_running;
        case PortState::paused: return lot_paused;
        case PortState::stopping: return lot_stopping;
        default: return lot_idle;
    }
}

template <class Item>
const Item* find_item(const std::vector<Item>& items, std::string_view name) {
    const auto found = std::ranges::find(items, name, &Item::name);
    return found == items.end() ? nullptr : &*found;
}

}  // namespace

/// "JOBID,RECIPE,FIRSTSLOT,LASTSLOT"; without arguments the recipe that was selected runs on every slot.
int Cluster::start_lot(int port, std::string_view arguments) {
    const std::string cm = "CM" + to_text(port + 1);
    std::string job = "JOB-" + to_text(jobs_ + 1);
    Lot lot;
    lot.recipe = memory_of(machine_, cm + ".PPID");
    std::optional<int> first = 1, last = carrier_module(port).slots;
    if (!arguments.empty()) {
        last = read_int(take_last(arguments));
        first = read_int(take_last(arguments));
        lot.recipe = take_last(arguments);
        job = trim(arguments);
    }
    if (!first || !last || *first < 1 || *last > carrier_module(port).slots || !knows_recipe(lot.recipe))
        return Talwen::FUNC_FAILED;
    lot.id = memory_of(machine_, cm + ".LotID");
    if (lot.id.empty()) lot.id = ctc_text(Ctc::CMx_CarrierID, port, -1);
    lot.paths = paths_of(lot.recipe);
    port_at(port).lot = std::move(lot);
    if (!fill_lot(*port_at(port).lot, port, *first - 1, *last - 1)) {
        port_at(port).lot.reset();
        return Talwen::FUNC_FAILED;
    }
    announce_lot(port, job);
    return Talwen::FUNC_FINISHED;
}

/// A machine file without lot recipes runs any.
bool Cluster::knows_recipe(const std::string& recipe) const {
    const std::lock_guard lock(machine_.recipes.mutex);
    return machine_.recipes.lot.empty() || find_item(machine_.recipes.lot, recipe) != nullptr;
}

/// The wafers that wait, those of an earlier lot left out. False when there is nothing to process, or nothing
/// to process it in.
bool Cluster::fill_lot(Lot& lot, int port, int first, int last) {
    if (chambers_.empty()) return false;
    for (int slot = first; slot <= last; ++slot) {
        if (ctc_number(Ctc::CMx_Wafer_Status, port, slot) != waiting) continue;
        const Path* path = &lot.paths[lot.wafers.size() % lot.paths.size()];
        lot.wafers.push_back({port, slot, ctc_text(Ctc::CMx_WAFER_ID, port, slot), path});
        if (ctc_text(Ctc::CMx_LOT_ID, port, slot).empty()) set_ctc(Ctc::CMx_LOT_ID, port, slot, lot.id);
    }
    return !lot.wafers.empty();
}

void Cluster::announce_lot(int port, const std::string& job) {
    const Lot& lot = *port_at(port).lot;
    const std::string cm = "CM" + to_text(port + 1);
    ++jobs_;
    put_point(machine_, cm, "LotID", lot.id);
    put_point(machine_, cm, "PPID", lot.recipe);
    set_ctc(Ctc::JOB_ID, port, -1, job);
    set_ctc(Ctc::JOB_NAME, port, -1, lot.id);
    set_ctc(Ctc::LOT_RECIPE, port, -1, lot.recipe);
    set_ctc(Ctc::WAFER_TARGET_COUNT, port, -1, static_cast<int>(lot.wafers.size()));
    set_ctc(Ctc::WAFER_REAL_COUNT, port, -1, 0);
    if (++lots_ == 1) {
        set_ctc(Ctc::RUN_CONTROL, -1, -1, 1);
        put_point(machine_, "Tool", "RunMode", 1);
        tell(ToolStep::equipment_running, {});
    }
    change_lot(port, PortState::running, ToolStep::lot_started);
}

/// The ways of a lot recipe through the tool; any process module when the machine file does not say.
std::vector<Cluster::Path> Cluster::paths_of(const std::string& recipe) const {
    std::vector<Path> paths;
    const std::lock_guard lock(machine_.recipes.mutex);
    if (const auto* lot = find_item(machine_.recipes.lot, recipe)) {
        for (const std::string& name : lot->cluster_recipes) {
            if (auto path = path_of(name)) paths.push_back(std::move(*path));
        }
    }
    if (paths.empty()) {
        Visit anywhere{{}, recipe, recipe_steps({})};
        for (std::size_t i = 0; i < chambers_.size(); ++i) anywhere.choices.push_back(i);
        paths.push_back({std::move(anywhere)});
    }
    return paths;
}

/// Nothing for a recipe that is not there or names no process module of the tool. Under the recipes' mutex.
std::optional<Cluster::Path> Cluster::path_of(const std::string& cluster_recipe) const {
    const auto* cluster = find_item(machine_.recipes.cluster, cluster_recipe);
    if (cluster == nullptr) return std::nullopt;
    Path path;
    for (std::size_t i = 0; i < cluster->modules.size(); ++i) {
        const auto module = std::ranges::find_if(machine_.process_modules, [&](const ProcessModule& m) {
            return m.name == cluster->modules[i] || m.id == cluster->modules[i];
        });
        if (module == machine_.process_modules.end()) continue;
        const std::string name = i < cluster->pm_recipes.size() ? cluster->pm_recipes[i] : cluster_recipe;
        const auto* pm = find_item(machine_.recipes.pm, name);
        path.push_back({{static_cast<std::size_t>(module - machine_.process_modules.begin())},
                        name,
                        recipe_steps(pm == nullptr ? std::vector<std::string>() : pm->steps)});
    }
    return path.empty() ? std::nullopt : std::optional(std::move(path));
}

void Cluster::change_lot(int port, PortState state, ToolStep step) {
    port_at(port).state = state;
    set_ctc(Ctc::MAIN_CONTROL, port, -1, main_control(state));
    tell_port(step, port);
    end_lot_if_done(port);
    dispatch();
}

void Cluster::end_lot_if_done(int port) {
    const Port& at = port_at(port);
    if (!at.lot) return;
    const bool stopped = at.state == PortState::stopping;
    if (at.lot->home != (stopped ? at.lot->released : at.lot->wafers.size())) return;
    end_lot(port, stopped ? ToolStep::lot_stopped : ToolStep::lot_completed);
}

/// A lot that ended early has no more wafers to wait for: its target becomes what was run.
void Cluster::end_lot(int port, ToolStep step) {
    ++port_at(port).epoch;
    port_at(port).lot.reset();
    set_ctc(Ctc::MAIN_CONTROL, port, -1, lot_idle);
    set_ctc(Ctc::WAFER_TARGET_COUNT, port, -1, ctc_number(Ctc::WAFER_REAL_COUNT, port, -1));
    if (step == ToolStep::lot_completed) count_point(machine_, "Tool", "LotCount");
    tell_port(step, port);
    if (--lots_ == 0) {
        set_ctc(Ctc::RUN_CONTROL, -1, -1, 0);
        put_point(machine_, "Tool", "RunMode", 0);
        tell(ToolStep::equipment_idle, {});
    }
    start_sequence(port, closing, PortState::undocked);
}

/// Takes effect at once: the wafers under way are back in the carrier, as if put there by hand.
void Cluster::abort_lot(int port) {
    free_what_is_taken_by(port);
    for (Wafer& wafer : port_at(port).lot->wafers) {
        if (!wafer.out || wafer.at == At::home) continue;
        set_ctc(Ctc::CMx_Wafer_Status, port, wafer.slot, aborted);
        count_point(machine_, "Tool", "WafersInTool", -1);
        tell_wafer(ToolStep::wafer_aborted, wafer);
    }
    end_lot(port, ToolStep::lot_aborted);
    dispatch();
}

void Cluster::free_what_is_taken_by(int port) {
    const auto ours = [port](const Wafer* wafer) { return wafer != nullptr && wafer->port == port; };
    for (std::size_t i = 0; i < robots_.size(); ++i) {
        if (!ours(robots_[i])) continue;
        robots_[i] = nullptr;
        const std::string_view robot = module_of(static_cast<Robot>(i));
        put_wafer(machine_, robot, "ArmA", "");
        put_point(machine_, robot, "RobotState", 1);
    }
    for (const Activity& activity : activities) {
        Place& taken = *place(activity.place);
        if (!ours(taken.taken_by)) continue;
        taken.taken_by = nullptr;
        show_place(activity.place, "");
        put_points(machine_, module_of(activity.place), activity.turned);
    }
    for (Chamber& chamber : chambers_) {
        if (!ours(chamber.taken_by)) continue;
        if (chamber.processing) abort_process(chamber);
        show_chamber(chamber, nullptr);
        chamber.taken_by = nullptr;
    }
}

}  // namespace sim
