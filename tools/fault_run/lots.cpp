#include "tools/fault_run/lots.h"

#include "sim/machine/machine.h"

namespace faults {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int wafers = 25;

std::string command(const std::string& name, int port) {
    const std::string number = std::to_string(port);
    return "S2F41 W <L <A \"" + name + "\"> <L <L <A \"PORTID\"> <U1 " + number + ">>" +
           (name == "START" ? "" : " <L <A \"CarrierID\"> <A \"FOUP0" + number + "\">>") + ">>.";
}

/// HCACK 4: the equipment will do it.
bool accepted(const std::optional<Asked>& asked) {
    const auto hcack = hsms::Item::binary("\x04");
    return asked && asked->reply.body && !asked->reply.body->children.empty() &&
           asked->reply.body->children.front() == hcack;
}

/// Looks again until the condition holds or a stop is asked for.
template <class Condition>
void await(const std::stop_token& stop, const Condition& condition) {
    while (!stop.stop_requested() && !condition()) std::this_thread::sleep_for(50ms);
}

}  // namespace

Lots::Lots(Host& host) : host_(host) {
    for (const int port : {2, 3})
        threads_.emplace_back([this, port](const std::stop_token& stop) { run(stop, port); });
}

void Lots::run(const std::stop_token& stop, int port) {
    while (!last_ && !stop.stop_requested()) {
        ++carriers_;
        run_lot(stop, port);
        if (!stop.stop_requested()) ++gone_;
    }
}

void Lots::run_lot(const std::stop_token& stop, int port) {
    const std::string number = std::to_string(port);
    sim::machine().carrier_arrives(port, "FOUP0" + number);
    for (const char* name : {"ProceedWithCarrierID", "START", "UnloadWithCarrierID"})
        await(stop, [&] {
            sim::machine().set_mem("CM" + number + ".PPID", "LOT-OXIDE-STD");
            return accepted(host_.ask(command(name, port)));
        });
    // The tool forgets the carrier's id a step after the carrier is gone.
    await(stop, [&] { return sim::machine().io("CM" + number + ".ReadCID").empty(); });
}

std::vector<std::string> Lots::finish(std::chrono::milliseconds limit) {
    last_ = true;
    const auto end = Clock::now() + limit;
    while (gone_ < carriers_ && Clock::now() < end) std::this_thread::sleep_for(50ms);
    threads_.clear();
    std::vector<std::string> wrong;
    const std::pair<const char*, int> counts[] = {
        {"Tool.LotCount", carriers_}, {"Tool.WaferCount", carriers_ * wafers}, {"Tool.WafersInTool", 0}};
    for (const auto& [point, expected] : counts)
        if (const std::string value = sim::machine().io(point); value != std::to_string(expected))
            wrong.push_back(std::string(point) + " is " + value + " after " + std::to_string(carriers_) +
                            " lots");
    return wrong;
}

}  // namespace faults
