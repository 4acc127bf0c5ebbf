#include "sim/tool/cluster.h"

#include <utility>

#include "sim/text.h"

namespace sim {

Cluster::Cluster(MachineState& machine, Sink sink)
    : machine_(machine),
      sink_(std::move(sink)),
      chance_(static_cast<unsigned>(machine.tool.seed)),
      noise_(static_cast<unsigned>(machine.tool.seed) + 1),
      ports_(machine.carrier_modules.size()) {
    for (const ProcessModule& module : machine.process_modules) {
        chambers_.push_back({.name = module.name, .points = RecipePoints(machine, module.name)});
    }
}

void Cluster::after(double seconds, int port, std::function<void()> action) {
    const std::uint64_t epoch = port_at(port).epoch;
    timeline_.after(seconds, [this, port, epoch, call = std::move(action)] {
        if (port_at(port).epoch != epoch) return;
        call();
        dispatch();
    });
}

void Cluster::tell(ToolStep step, const ToolFacts& facts) {
    for (std::string& text : event_commands(step, facts)) {
        sink_({timeline_.now(), step, facts.port, facts.slot, std::move(text)});
    }
}

void Cluster::tell_port(ToolStep step, int port, int number) {
    tell(step, {.port = port, .number = number});
}

std::string Cluster::ctc_text(Ctc point, int port, int slot) const {
    const ValueTable* table = machine_.ctc_table(point, port, slot);
    return table == nullptr ? "" : table->get(static_cast<std::size_t>(point));
}

int Cluster::ctc_number(Ctc point, int port, int slot) const {
    const ValueTable* table = machine_.ctc_table(point, port, slot);
    return table == nullptr ? 0 : table->number(static_cast<std::size_t>(point));
}

}  // namespace sim
