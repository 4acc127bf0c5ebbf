#include "sim/machine/state.h"

#include <atomic>
#include <utility>

#include "sim/text.h"

namespace sim {

namespace {

// Never destroyed at the process's end: threads of the module may still read it then.
std::atomic<MachineState*>& current() {
    static std::atomic<MachineState*> instance{new MachineState};
    return instance;
}

template <class Value>
void set(ValueTable& table, Ctc point, const Value& value) {
    table.set(static_cast<std::size_t>(point), value);
}

void fill_slots(CarrierModule& module, std::string_view carrier) {
    int slot = 0;
    for (ValueTable& points : module.slot_points) {
        ++slot;
        const std::string number = (slot < 10 ? "0" : "") + to_text(slot);
        set(points, Ctc::CMx_WAFER_ID, carrier.empty() ? "" : std::string(carrier) + "." + number);
        set(points, Ctc::CMx_Wafer_Status, carrier.empty() ? 0 : 1);
        set(points, Ctc::CMx_LOT_ID, "");
    }
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

void put_carrier(CarrierModule& module, std::string_view id) {
    set(module.points, Ctc::CMx_RFID, id);
    fill_slots(module, id);
    set(module.points, Ctc::CMx_Carrier, 1);
}

void take_carrier(CarrierModule& module) {
    set(module.points, Ctc::CMx_Carrier, 0);
    set(module.points, Ctc::CMx_RFID, "");
    fill_slots(module, "");
}

void set_carrier_id(CarrierModule& module, std::string_view id) {
    set(module.points, Ctc::CMx_CarrierID, id);
}

MachineState& state() {
    return *current().load(std::memory_order_acquire);
}

void replace_state(std::unique_ptr<MachineState> next) {
    delete current().exchange(next.release());
}

}  // namespace sim
