#include "sim/machine_state.h"

#include <atomic>
#include <utility>

namespace sim {

namespace {

// Never destroyed at the process's end: threads of the module may still read it then.
std::atomic<MachineState*>& current() {
    static std::atomic<MachineState*> instance{new MachineState};
    return instance;
}

}  // namespace

MachineState::MachineState() : dvid_points(dvid_infos.size()) {
    for (const Gem point : {Gem::S6F2Res_Enable, Gem::S6F12Res_Enable, Gem::S6F14Res_Enable}) {
        gem.set(static_cast<std::size_t>(point), 1);
    }
}

ValueTable* MachineState::ctc_table(Ctc point, int cm, int slot) {
    const CtcScope scope = ctc_scopes[static_cast<std::size_t>(point)];
    if (scope == CtcScope::TOOL) return &tool_points;
    if (cm < 0 || static_cast<std::size_t>(cm) >= carrier_modules.size()) return nullptr;
    CarrierModule& module = carrier_modules[static_cast<std::size_t>(cm)];
    if (scope == CtcScope::CM) return &module.points;
    if (slot < 0 || static_cast<std::size_t>(slot) >= module.slot_points.size()) return nullptr;
    return &module.slot_points[static_cast<std::size_t>(slot)];
}

void MachineState::write_dvid_point(std::size_t index) {
    if (!dvid_points[index]) return;
    const std::string text = dvid.get(index);
    points.assign(*dvid_points[index], Held::live, text);
    points.assign(*dvid_points[index], Held::memory, text);
}

MachineState& state() {
    return *current().load(std::memory_order_acquire);
}

void replace_state(std::unique_ptr<MachineState> next) {
    delete current().exchange(next.release());
}

}  // namespace sim
