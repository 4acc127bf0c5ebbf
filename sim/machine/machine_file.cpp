#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <span>
#include <toml++/toml.h>
#include <utility>

#include "sim/machine/state.h"
#include "sim/text.h"

namespace sim {

namespace {

/// Where a message points: the file and the line of a node or key.
struct Where {
    std::string_view file;

    [[noreturn]] void fail(const toml::source_region& at, const std::string& reason) const {
        throw MachineError(std::string(file) + ":" + std::to_string(at.begin.line) + ": " + reason);
    }
};

[[noreturn]] void wrong_type(const Where& where, std::string_view key, const toml::node& node,
                             std::string_view wanted) {
    where.fail(node.source(), std::string(key) + ": must be " + std::string(wanted));
}

void read(const Where& where, std::string_view key, const toml::node& node, std::string& out) {
    const auto* value = node.as_string();
    if (value == nullptr) wrong_type(where, key, node, "a text in quotes");
    out = value->get();
}

void read(const Where& where, std::string_view key, const toml::node& node, bool& out) {
    const auto* value = node.as_boolean();
    if (value == nullptr) wrong_type(where, key, node, "true or false");
    out = value->get();
}

void read(const Where& where, std::string_view key, const toml::node& node, int& out) {
    const auto* value = node.as_integer();
    if (value == nullptr || value->get() < INT_MIN || value->get() > INT_MAX) {
        wrong_type(where, key, node, "a whole number of 32 bits");
    }
    out = static_cast<int>(value->get());
}

void read(const Where& where, std::string_view key, const toml::node& node, double& out) {
    if (!node.is_number()) wrong_type(where, key, node, "a number");
    out = node.value<double>().value_or(0.0);
}

void read(const Where& where, std::string_view key, const toml::node& node, std::vector<std::string>& out) {
    const auto* list = node.as_array();
    if (list == nullptr) wrong_type(where, key, node, "a list of texts");
    for (const toml::node& element : *list) read(where, key, element, out.emplace_back());
}

/// A key of a table and what takes its value.
struct Key {
    std::string_view name;
    std::function<void(const Where&, std::string_view key, const toml::node&)> take;
    bool required = false;
};

template <class Value>
Key optional_key(const char* name, Value& out) {
    return {name, [&out](const Where& where, std::string_view key, const toml::node& node) {
                read(where, key, node, out);
            }};
}

template <class Value>
Key required_key(const char* name, Value& out) {
    Key key = optional_key(name, out);
    key.required = true;
    return key;
}

void read_table(const Where& where, const char* section, const toml::table& table,
                std::span<const Key> keys) {
    for (const auto& [name, node] : table) {
        const auto key = std::ranges::find(keys, name.str(), &Key::name);
        if (key == keys.end()) {
            where.fail(name.source(), "unknown key '" + std::string(name.str()) + "' in " + section);
        }
        key->take(where, name.str(), node);
    }
    for (const Key& key : keys) {
        if (key.required && !table.contains(key.name)) {
            where.fail(table.source(),
                       std::string(section) + " lacks the key '" + std::string(key.name) + "'");
        }
    }
}

void require(const Where& where, const toml::table& table, const char* key, bool good,
             const std::string& reason) {
    if (good) return;
    const toml::node* node = table.get(key);
    where.fail(node == nullptr ? table.source() : node->source(), reason);
}

/// The values of a list of names ([gem], [fa]); a name's type is the list's.
void read_values(const Where& where, const char* section, const toml::table& table, ValueTable& values) {
    for (const auto& [name, node] : table) {
        const auto index = values.find(name.str());
        if (!index) where.fail(name.source(), "unknown key '" + std::string(name.str()) + "' in " + section);
        if (values.info(*index).type == ValueType::INT) {
            int number = 0;
            read(where, name.str(), node, number);
            values.set(*index, number);
        } else {
            std::string text;
            read(where, name.str(), node, text);
            values.set(*index, text);
        }
    }
}

void read_tool(const Where& where, const toml::table& table, MachineState& state) {
    ToolSettings& tool = state.tool;
    read_table(where, "[tool]", table,
               std::array{optional_key("model", tool.model), optional_key("revision", tool.revision),
                          optional_key("simulation", tool.simulation), optional_key("journal", tool.journal),
                          optional_key("moving", tool.moving), optional_key("react", tool.react),
                          optional_key("speed", tool.speed), optional_key("seed", tool.seed),
                          optional_key("alarm_rate", tool.alarm_rate),
                          optional_key("fetch_after", tool.fetch_after)});
    state.gem.set(static_cast<std::size_t>(Gem::Model_Number), tool.model);
    state.gem.set(static_cast<std::size_t>(Gem::Soft_Revision), tool.revision);
}

/// Names are unique over all kinds of points; a point without a name is reached only by its index.
template <class Point>
void name_point(const Where& where, const toml::table& table, MachineState& state, Talwen::IO_TYPE type,
                const Point& point, std::size_t count) {
    if (point.name.empty()) return;
    require(where, table, "name", state.points.add_name(point.name, {type, static_cast<int>(count) - 1}),
            "a point named '" + point.name + "' is there already");
}

void read_digital(const Where& where, const toml::table& table, MachineState& state) {
    DigitalPoint& point = state.points.digital.emplace_back();
    int value = 0;
    read_table(where, "[[digital]]", table,
               std::array{required_key("name", point.name), optional_key("value", value),
                          optional_key("min", point.min), optional_key("max", point.max),
                          optional_key("unit", point.unit)});
    point.live = point.memory = value;
    name_point(where, table, state, Talwen::IO_DIGITAL, point, state.points.digital.size());
}

void read_analog(const Where& where, const toml::table& table, MachineState& state) {
    AnalogPoint& point = state.points.analog.emplace_back();
    double value = 0.0;
    read_table(where, "[[analog]]", table,
               std::array{required_key("name", point.name), optional_key("value", value),
                          optional_key("min", point.min), optional_key("max", point.max),
                          optional_key("unit", point.unit), optional_key("decimals", point.decimals)});
    point.live = point.memory = value;
    name_point(where, table, state, Talwen::IO_ANALOG, point, state.points.analog.size());
}

void read_string(const Where& where, const toml::table& table, MachineState& state) {
    StringPoint& point = state.points.string.emplace_back();
    std::string value;
    read_table(where, "[[string]]", table,
               std::array{required_key("name", point.name), optional_key("value", value),
                          optional_key("clock", point.clock)});
    point.live.set(value);
    point.memory.set(value);
    name_point(where, table, state, Talwen::IO_STRING, point, state.points.string.size());
}

void read_function(const Where& where, const toml::table& table, MachineState& state) {
    FunctionPoint& point = state.points.function.emplace_back();
    read_table(where, "[[function]]", table, std::array{required_key("name", point.name)});
    name_point(where, table, state, Talwen::IO_FUNCTION, point, state.points.function.size());
}

void read_carrier_module(const Where& where, const toml::table& table, MachineState& state) {
    CarrierModule module;
    read_table(where, "[[carrier_module]]", table,
               std::array{required_key("name", module.name), optional_key("slots", module.slots)});
    require(where, table, "slots", module.slots >= 0, "slots must be 0 or more");
    for (int slot = 0; slot < module.slots; ++slot) module.slot_points.emplace_back(ctc_infos);
    state.carrier_modules.push_back(std::move(module));
}

void read_process_module(const Where& where, const toml::table& table, MachineState& state) {
    ProcessModule module;
    read_table(where, "[[process_module]]", table,
               std::array{required_key("name", module.name), optional_key("id", module.id)});
    if (module.id.empty()) module.id = module.name;
    state.process_modules.push_back(std::move(module));
}

void read_alarm(const Where& where, const toml::table& table, MachineState& state) {
    Alarms::Alarm alarm;
    int level = 1;
    read_table(where, "[[alarm]]", table,
               std::array{required_key("id", alarm.id), optional_key("level", level),
                          optional_key("text", alarm.text)});
    alarm.level = static_cast<Talwen::ALARM_LEVEL>(level);
    state.alarms.add(std::move(alarm));
}

void read_recipe(const Where& where, const toml::table& table, MachineState& state) {
    std::string kind;
    Talwen::LotRecipe_Item lot;
    Talwen::ClusterRecipe_Item cluster;
    Talwen::PM_Recipe_Item pm;
    read_table(where, "[[recipe]]", table,
               std::array{required_key("kind", kind), required_key("name", lot.name),
                          optional_key("cluster_recipes", lot.cluster_recipes),
                          optional_key("modules", cluster.modules),
                          optional_key("pm_recipes", cluster.pm_recipes), optional_key("module", pm.module),
                          optional_key("comment", pm.comment), optional_key("steps", pm.steps)});
    cluster.name = pm.name = lot.name;
    Recipes& recipes = state.recipes;
    if (kind == "lot") {
        recipes.lot.push_back(std::move(lot));
    } else if (kind == "cluster") {
        recipes.cluster.push_back(std::move(cluster));
    } else if (kind == "pm") {
        recipes.pm.push_back(std::move(pm));
    } else {
        require(where, table, "kind", false, "kind must be lot, cluster or pm");
    }
}

using Reader = void (*)(const Where&, const toml::table&, MachineState&);

struct Section {
    std::string_view name;
    bool repeated;  // [[name]]
    Reader read;
};

void read_gem(const Where& where, const toml::table& table, MachineState& state) {
    read_values(where, "[gem]", table, state.gem);
}

void read_fa(const Where& where, const toml::table& table, MachineState& state) {
    read_values(where, "[fa]", table, state.fa);
}

// In this order, so that [gem] has the last word over [tool].
constexpr std::array sections = {
    Section{"tool", false, read_tool},
    Section{"gem", false, read_gem},
    Section{"fa", false, read_fa},
    Section{"digital", true, read_digital},
    Section{"analog", true, read_analog},
    Section{"string", true, read_string},
    Section{"function", true, read_function},
    Section{"carrier_module", true, read_carrier_module},
    Section{"process_module", true, read_process_module},
    Section{"alarm", true, read_alarm},
    Section{"recipe", true, read_recipe},
};

void read_section(const Where& where, const Section& section, const toml::node& node, MachineState& state) {
    if (!section.repeated) {
        if (!node.is_table())
            wrong_type(where, section.name, node, "a table [" + std::string(section.name) + "]");
        section.read(where, *node.as_table(), state);
        return;
    }
    const auto* list = node.as_array();
    if (list == nullptr)
        wrong_type(where, section.name, node, "a list of tables [[" + std::string(section.name) + "]]");
    for (const toml::node& element : *list) {
        if (!element.is_table())
            wrong_type(where, section.name, element, "a table [[" + std::string(section.name) + "]]");
        section.read(where, *element.as_table(), state);
    }
}

void connect_dvid_points(MachineState& state) {
    for (std::size_t i = 0; i < dvid_infos.size(); ++i) {
        state.dvid_points[i] = state.points.find(std::string("DVID.") + dvid_infos[i].name);
    }
}

}  // namespace

std::unique_ptr<MachineState> parse_machine(std::string_view text, std::string_view name) {
    const Where where{name};
    toml::table root;
    try {
        root = toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        where.fail(error.source(), std::string(error.description()));
    }
    for (const auto& [key, node] : root) {
        const bool known = std::ranges::find(sections, key.str(), &Section::name) != sections.end();
        if (!known) where.fail(key.source(), "unknown key '" + std::string(key.str()) + "'");
    }
    auto state = std::make_unique<MachineState>();
    for (const Section& section : sections) {
        if (const toml::node* node = root.get(section.name)) read_section(where, section, *node, *state);
    }
    connect_dvid_points(*state);
    return state;
}

}  // namespace sim
