#include "sim/machine/machine.h"

#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

#include "sim/controller/calls.h"
#include "sim/controller/setting_ranges.h"
#include "sim/machine/state.h"
#include "sim/text.h"
#include "sim/tool/tool.h"

namespace sim {

namespace {

[[noreturn]] void refuse(const std::string& reason) {
    throw std::invalid_argument(reason);
}

PointAddress find_point(std::string_view name) {
    const auto address = state().points.find(name);
    if (!address) refuse("no point is named " + std::string(name));
    return *address;
}

std::string get_point(std::string_view name, Held held) {
    const auto value = state().points.get(find_point(name), held);
    if (!value) refuse(std::string(name) + " is a function point and has no value");
    return *value;
}

void set_point(std::string_view name, Held held, std::string_view value) {
    if (!state().points.assign(find_point(name), held, value)) refuse(std::string(name) + " takes a number");
}

std::size_t find_value(const ValueTable& table, const char* kind, std::string_view name) {
    const auto index = table.find(name);
    if (!index) refuse("no " + std::string(kind) + " is named " + std::string(name));
    return *index;
}

void set_value(ValueTable& table, const char* kind, std::string_view name, std::string_view value) {
    const std::size_t index = find_value(table, kind, name);
    if (!table.assign(index, value)) refuse(std::string(name) + " takes a number");
    check_setting(name, table.number(index));
}

struct CtcPlace {
    ValueTable& table;
    std::size_t index;
};

CtcPlace find_ctc(std::string_view name, int cm, int slot) {
    MachineState& now = state();
    const std::size_t index = find_value(now.tool_points, "cluster-tool point", name);
    ValueTable* table = now.ctc_table(static_cast<Ctc>(index), cm, slot);
    if (table == nullptr) refuse(std::string(name) + ": no such carrier module or slot");
    return {*table, index};
}

CarrierModule& carrier_module(int port) {
    auto& modules = state().carrier_modules;
    if (port < 1 || static_cast<std::size_t>(port) > modules.size()) refuse("no load port " + to_text(port));
    return modules[static_cast<std::size_t>(port) - 1];
}

void load(std::unique_ptr<MachineState> next) {
    replace_state(std::move(next));
    reset_calls();
    for (const ValueTable* table : {&state().gem, &state().fa})
        for (std::size_t i = 0; i < table->size(); ++i)
            if (table->was_set(i)) check_setting(table->info(i).name, table->number(i));
}

}  // namespace

void Machine::load_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) throw MachineError(path.string() + ": cannot be read");
    load(parse_machine(text, path.string()));
}

void Machine::load_text(std::string_view toml) {
    load(parse_machine(toml, "machine.toml"));
}

void Machine::reset() {
    load(std::make_unique<MachineState>());
}

const ToolSettings& Machine::tool() const {
    return state().tool;
}

std::string Machine::io(std::string_view name) const {
    return get_point(name, Held::live);
}
void Machine::set_io(std::string_view name, std::string_view value) {
    set_point(name, Held::live, value);
}
std::string Machine::mem(std::string_view name) const {
    return get_point(name, Held::memory);
}
void Machine::set_mem(std::string_view name, std::string_view value) {
    set_point(name, Held::memory, value);
}

std::string Machine::gem(std::string_view name) const {
    const ValueTable& table = state().gem;
    return table.get(find_value(table, "GEM point", name));
}

void Machine::set_gem(std::string_view name, std::string_view value) {
    set_value(state().gem, "GEM point", name, value);
}

std::string Machine::fa(std::string_view name) const {
    const ValueTable& table = state().fa;
    return table.get(find_value(table, "FA setting", name));
}

void Machine::set_fa(std::string_view name, std::string_view value) {
    set_value(state().fa, "FA setting", name, value);
}

std::string Machine::dvid(std::string_view name) const {
    const ValueTable& table = state().dvid;
    const std::size_t index = find_value(table, "data variable", name);
    return table.was_set(index) ? table.get(index) : "";
}

std::string Machine::ctc(std::string_view name, int cm, int slot) const {
    const CtcPlace place = find_ctc(name, cm, slot);
    return place.table.get(place.index);
}

void Machine::set_ctc(std::string_view name, int cm, int slot, std::string_view value) {
    const CtcPlace place = find_ctc(name, cm, slot);
    if (!place.table.assign(place.index, value)) refuse(std::string(name) + " takes a number");
}

void Machine::post_alarm(int id) {
    if (!state().alarms.post(id)) refuse("no alarm has the id " + to_text(id));
}

void Machine::clear_alarm(int id) {
    if (!state().alarms.clear(id)) refuse("no alarm has the id " + to_text(id));
}

void Machine::carrier_arrives(int port, std::string_view id) {
    CarrierModule& module = carrier_module(port);
    if (tool_places_carrier(port - 1, id)) return;
    put_carrier(module, id);
    set_carrier_id(module, id);  // no tool moves that would read it
}

void Machine::carrier_removed(int port) {
    CarrierModule& module = carrier_module(port);
    if (tool_takes_carrier(port - 1)) return;
    take_carrier(module);
    set_carrier_id(module, "");
}

std::string Machine::number_text(int value) {
    return to_text(value);
}
std::string Machine::number_text(double value) {
    return to_text(value);
}

Machine& machine() {
    static Machine instance;
    return instance;
}

}  // namespace sim
