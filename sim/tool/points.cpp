#include "sim/tool/points.h"

#include <algorithm>
#include <cmath>

#include "sim/text.h"

namespace sim {

namespace {

std::optional<PointAddress> find(const MachineState& machine, std::string_view module,
                                 std::string_view point) {
    if (module.empty()) return machine.points.find(point);
    return machine.points.find(std::string(module) + "." + std::string(point));
}

void put(AnalogPoint& point, double value) {
    const double unit = std::pow(10.0, -point.decimals);
    value = std::clamp(std::round(value / unit) * unit, point.min, std::max(point.min, point.max));
    point.live.store(value, std::memory_order_release);
    point.memory.store(value, std::memory_order_release);
}

}  // namespace

void put_point(MachineState& machine, std::string_view module, std::string_view point,
               std::string_view value) {
    const auto address = find(machine, module, point);
    if (!address) return;
    machine.points.assign(*address, Held::live, value);
    machine.points.assign(*address, Held::memory, value);
}

void put_point(MachineState& machine, std::string_view module, std::string_view point, int value) {
    put_point(machine, module, point, std::string_view(to_text(value)));
}

void put_points(MachineState& machine, std::string_view module, std::string_view assignments) {
    for (std::string_view one = take_word(assignments); !one.empty(); one = take_word(assignments)) {
        const std::size_t at = one.find('=');
        put_point(machine, module, one.substr(0, at), one.substr(at + 1));
    }
}

void count_point(MachineState& machine, std::string_view module, std::string_view point, int by) {
    const auto address = find(machine, module, point);
    if (!address || address->type != Talwen::IO_DIGITAL) return;
    DigitalPoint& counter = machine.points.digital[static_cast<std::size_t>(address->index)];
    counter.live += by;
    counter.memory += by;
}

std::string memory_of(const MachineState& machine, std::string_view point) {
    const auto address = machine.points.find(point);
    return address ? machine.points.get(*address, Held::memory).value_or("") : "";
}

void put_wafer(MachineState& machine, std::string_view module, std::string_view prefix, std::string_view id) {
    put_point(machine, module, std::string(prefix) + "WaferPresent", id.empty() ? 0 : 1);
    put_point(machine, module, std::string(prefix) + "WaferID", id);
}

RecipePoints::RecipePoints(MachineState& machine, std::string_view module) {
    for (const MovingPoint& way : moving_points) {
        const auto address = find(machine, module, way.name);
        if (!address || address->type != Talwen::IO_ANALOG) continue;
        AnalogPoint& point = machine.points.analog[static_cast<std::size_t>(address->index)];
        followers_.push_back({&point, &way, point.live.load(std::memory_order_acquire)});
    }
}

void RecipePoints::follow(const RecipeStep& step, Chance* chance) {
    for (const Follower& follower : followers_) {
        const double range = std::max(std::abs(follower.point->max), std::abs(follower.point->min));
        const double noise = chance == nullptr ? 0.0 : (chance->unit() * 2 - 1) * follower.way->noise * range;
        put(*follower.point, follower.rest + step.*follower.way->level * follower.way->scale * range + noise);
    }
}

void RecipePoints::rest() {
    for (const Follower& follower : followers_) put(*follower.point, follower.rest);
}

}  // namespace sim
