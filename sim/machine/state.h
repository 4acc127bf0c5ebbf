// Everything the simulated framework knows of the machine; one object per loaded machine file.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/controller/alarms.h"
#include "sim/controller/points.h"
#include "sim/controller/recipes.h"
#include "sim/machine/machine.h"
#include "sim/machine/value_lists.h"

namespace sim {

struct CarrierModule {
    std::string name;
    int slots = 25;
    ValueTable points{ctc_infos};        // the CM points; the others are unused
    std::deque<ValueTable> slot_points;  // the SLOT points of each slot
};

struct ProcessModule {
    std::string name, id;
};

struct MachineState {
    MachineState();

    ToolSettings tool;
    Points points;
    ValueTable gem{gem_infos};
    ValueTable fa{fa_infos};
    ValueTable dvid{dvid_infos};
    std::vector<std::optional<PointAddress>> dvid_points;  // the point "DVID.NAME", by the list's index
    ValueTable tool_points{ctc_infos};                     // the TOOL points
    std::deque<CarrierModule> carrier_modules;
    std::deque<ProcessModule> process_modules;
    Alarms alarms;
    Recipes recipes;

    /// The table that holds a cluster-tool point; null for a bad carrier module or slot.
    ValueTable* ctc_table(Ctc point, int cm, int slot);
    /// Sets a data variable and the point named after it (live and memory value), when there is one.
    template <class Value>
    void set_dvid(Dvid variable, const Value& value) {
        const auto index = static_cast<std::size_t>(variable);
        dvid.set(index, value);
        write_dvid_point(index);
    }

  private:
    void write_dvid_point(std::size_t index);
};

/// A carrier is put on the module, with a wafer in every slot: the carrier's id and the slot from 01; none
/// for an empty id. Its id can be read (CMx_RFID) and is not known (CMx_CarrierID) before it was.
void put_carrier(CarrierModule& module, std::string_view id);
/// What is known of its id is left alone.
void take_carrier(CarrierModule& module);
void set_carrier_id(CarrierModule& module, std::string_view id);

/// The machine that is loaded now. Any thread.
MachineState& state();
/// Puts another machine in its place; only while no module runs.
void replace_state(std::unique_ptr<MachineState> next);

/// Reads a machine file's text; `name` is the file's name for messages. Throws MachineError.
std::unique_ptr<MachineState> parse_machine(std::string_view text, std::string_view name);

}  // namespace sim
