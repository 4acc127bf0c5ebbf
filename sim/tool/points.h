// The tool's hand on the machine's points: by name, where the machine has them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/machine/state.h"
#include "sim/tool/tables.h"
#include "sim/tool/timeline.h"

namespace sim {

/// Sets the live and the memory value of the point MODULE.POINT; without a module POINT alone.
void put_point(MachineState& machine, std::string_view module, std::string_view point,
               std::string_view value);
void put_point(MachineState& machine, std::string_view module, std::string_view point, int value);
/// Sets what "NAME=NUMBER NAME=NUMBER" says, below the module's name.
void put_points(MachineState& machine, std::string_view module, std::string_view assignments);
/// Adds to a digital point.
void count_point(MachineState& machine, std::string_view module, std::string_view point, int by = 1);
/// The memory value as a text; empty without such a point.
std::string memory_of(const MachineState& machine, std::string_view point);

/// A wafer is in a module, or on a robot's arm, or in it no longer (empty id): `prefix` is "", "ArmA" or
/// "Slot1".
void put_wafer(MachineState& machine, std::string_view module, std::string_view prefix, std::string_view id);

/// The points of one process module that follow its recipe.
class RecipePoints {
  public:
    RecipePoints(MachineState& machine, std::string_view module);
    /// Moves them to where the step wants them; noise from `chance` when it is given.
    void follow(const RecipeStep& step, Chance* chance);
    /// Moves them back to where they were at the start.
    void rest();

  private:
    struct Follower {
        AnalogPoint* point;
        const MovingPoint* way;
        double rest;
    };
    std::vector<Follower> followers_;
};

}  // namespace sim
