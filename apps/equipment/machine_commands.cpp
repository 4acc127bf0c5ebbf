// Commands that act on the simulated machine.
#include <optional>

#include "apps/equipment/commands.h"
#include "sim/controller/calls.h"
#include "sim/controller/clock.h"
#include "sim/controller/events.h"
#include "sim/machine/machine.h"
#include "sim/text.h"

namespace equipment {

namespace {

using sim::machine;
using sim::Machine;

/// "NAME" or "NAME = VALUE"; the value is taken as it is and may be empty.
struct Assignment {
    std::string_view name;
    std::optional<std::string_view> value;
};

Assignment parse_assignment(std::string_view text, const char* usage) {
    Assignment result{sim::trim(text), std::nullopt};
    if (const std::size_t at = text.find(" = "); at != std::string_view::npos) {
        result = {sim::trim(text.substr(0, at)), text.substr(at + 3)};
    } else if (text.ends_with(" =")) {
        result = {sim::trim(text.substr(0, text.size() - 2)), ""};
    }
    if (result.name.empty()) throw Refusal(std::string("expected ") + usage);
    return result;
}

using Get = std::string (Machine::*)(std::string_view) const;
using Set = void (Machine::*)(std::string_view, std::string_view);

std::string get_or_set(std::string_view arguments, const char* usage, Get get, Set set) {
    const Assignment assignment = parse_assignment(arguments, usage);
    if (assignment.value) (machine().*set)(assignment.name, *assignment.value);
    return (machine().*get)(assignment.name);
}

void require_end(std::string_view rest, const char* usage) {
    if (!sim::trim(rest).empty()) throw Refusal(std::string("expected ") + usage);
}

std::string with_count(std::string text, int n) {
    const std::string number = sim::to_text(n);
    for (std::size_t at = text.find("{n}"); at != std::string::npos;
         at = text.find("{n}", at + number.size())) {
        text.replace(at, 3, number);
    }
    return text;
}

void post(std::string text) {
    if (const auto fault = sim::post_event_and_wait(std::move(text))) throw Refusal(*fault);
}

}  // namespace

std::string run_event(Context&, std::string_view arguments) {
    if (arguments.empty()) throw Refusal("expected event TEXT");
    post(std::string(arguments));
    return "ok";
}

std::string run_repeat(Context&, std::string_view arguments) {
    const int count = number_argument(sim::take_word(arguments), "repeat's N");
    if (sim::take_word(arguments) != "event" || arguments.empty() || count < 0) {
        throw Refusal("expected repeat N event TEXT");
    }
    for (int n = 1; n <= count; ++n) post(with_count(std::string(arguments), n));
    return "ok " + sim::to_text(count);
}

std::string run_io(Context&, std::string_view arguments) {
    return get_or_set(arguments, "io NAME [= VALUE]", &Machine::io, &Machine::set_io);
}

std::string run_mem(Context&, std::string_view arguments) {
    return get_or_set(arguments, "mem NAME [= VALUE]", &Machine::mem, &Machine::set_mem);
}

std::string run_gem(Context&, std::string_view arguments) {
    return get_or_set(arguments, "gem NAME [= VALUE]", &Machine::gem, &Machine::set_gem);
}

std::string run_fa(Context&, std::string_view arguments) {
    return get_or_set(arguments, "fa NAME [= VALUE]", &Machine::fa, &Machine::set_fa);
}

std::string run_dvid(Context&, std::string_view arguments) {
    if (sim::trim(arguments).empty()) throw Refusal("expected dvid NAME");
    return machine().dvid(sim::trim(arguments));
}

std::string run_ctc(Context&, std::string_view arguments) {
    constexpr const char* usage = "ctc NAME CM [SLOT] [= VALUE]";
    const Assignment assignment = parse_assignment(arguments, usage);
    std::string_view place = assignment.name;
    const std::string_view name = sim::take_word(place);
    const std::string_view cm_text = sim::take_word(place);
    const std::string_view slot_text = sim::take_word(place);
    require_end(place, usage);
    const int cm = cm_text.empty() ? -1 : number_argument(cm_text, "CM");
    const int slot = slot_text.empty() ? -1 : number_argument(slot_text, "SLOT");
    if (assignment.value) machine().set_ctc(name, cm, slot, *assignment.value);
    return machine().ctc(name, cm, slot);
}

std::string run_alarm(Context&, std::string_view arguments) {
    const std::string_view action = sim::take_word(arguments);
    if (action != "post" && action != "clear") throw Refusal("expected alarm post ID or alarm clear ID");
    const int id = number_argument(arguments, "the alarm's ID");
    if (action == "post") {
        machine().post_alarm(id);
    } else {
        machine().clear_alarm(id);
    }
    return "ok";
}

std::string run_carrier(Context&, std::string_view arguments) {
    const std::string_view action = sim::take_word(arguments);
    const std::string_view port = sim::take_word(arguments);
    if (action == "arrive" && !arguments.empty()) {
        machine().carrier_arrives(number_argument(port, "PORT"), sim::trim(arguments));
    } else if (action == "remove" && arguments.empty()) {
        machine().carrier_removed(number_argument(port, "PORT"));
    } else {
        throw Refusal("expected carrier arrive PORT ID or carrier remove PORT");
    }
    return "ok";
}

std::string run_calls(Context&, std::string_view arguments) {
    const auto record = sim::calls(sim::trim(arguments));
    if (!record) throw Refusal("expected calls NAME, the name of a framework operation");
    return std::to_string(record->count) + (record->arguments.empty() ? "" : " " + record->arguments);
}

std::string run_result(Context&, std::string_view arguments) {
    const std::string_view name = sim::take_word(arguments);
    if (!sim::set_result(name, number_argument(arguments, "the result"))) {
        throw Refusal("expected result NAME N, the name of a setter or request of the framework");
    }
    return "ok";
}

std::string run_clock(Context&, std::string_view) {
    return sim::clock_text();
}

}  // namespace equipment
