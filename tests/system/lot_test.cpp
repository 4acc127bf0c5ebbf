// Lots from the carrier's arrival to its departure, by remote commands alone: what the host gets to know of
// every wafer, the same seed twice, and the demo's script.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

#include "lot_record.h"
#include "support/equipment_process.h"
#include "support/host.h"

namespace {

using lots::Event;
using support::CommunicatingHost;
using support::EquipmentOptions;
using support::EquipmentProcess;
using namespace std::chrono_literals;

EquipmentOptions machine(const std::string& speed, const std::string& alarm_rate, int seed = 1) {
    return {.settings = {},
            .machine = {{"speed = 20.0", "speed = " + speed},
                        {"seed = 1", "seed = " + std::to_string(seed)},
                        {"alarm_rate = 0.02", "alarm_rate = " + alarm_rate}}};
}

/// S2F41 with "NAME VALUE" parameters, the values in SML.
std::string command(const std::string& name, const std::vector<std::string>& parameters) {
    std::string text = "S2F41 W <L <A \"" + name + "\"> <L";
    for (const std::string& parameter : parameters)
        text += " <L <A '" + parameter.substr(0, parameter.find(' ')) + "'>" +
                parameter.substr(parameter.find(' ')) + ">";
    return text + ">>.";
}

/// What the host got to know while one lot ran.
struct Record {
    std::vector<Event> events;
    std::vector<lots::Alarm> alarms;
};

/// Runs the wafers of a carrier's first slots on port 1, each command given when the event comes that asks
/// for it.
class OneLot {
  public:
    explicit OneLot(EquipmentProcess& equipment) : equipment_(equipment), host_(equipment.port()) {}

    Record run(int slots) {
        const std::string port = "PORTID <U1 1>", carrier = "CarrierID <A 'FOUP01'>";
        std::string lot_info = "LotInfo <L";
        std::string slot_map = "SlotMap <U1";
        for (int slot = 1; slot <= 25; ++slot) {
            lot_info += " <L <A 'LOT7'> <A 'LOT7-" + std::to_string(slot) + "'>>";
            slot_map += " 1";
        }
        await(lots::on_line_remote);  // events of the tool before that are refused
        EXPECT_EQ(equipment_.command("carrier arrive 1 FOUP01"), "= ok");
        await(lots::carrier_docked);
        give(command("ProceedWithCarrierID", {port, carrier}));
        await(lots::slot_map_read);
        give(command("ProceedWithSlotMap", {port, "WaferCount <U1 25>", lot_info + ">", slot_map + ">"}));
        await(lots::slot_map_verified);
        give(command("StartProcess", {port, "JOBID <A 'JOB7'>", carrier, "RECIPE <A 'LOT-OXIDE-STD'>",
                                      "StartSlot <U1 1>", "EndSlot <U1 " + std::to_string(slots) + ">"}));
        await(lots::carrier_unclamped);
        give(command("UnloadWithCarrierID", {port, carrier}));
        await(lots::port_empty);
        return std::move(record_);
    }

  private:
    void give(const std::string& sml) { EXPECT_EQ(host_.ask(sml), "S2F42 <L <B 0x04> <L>>.") << sml; }

    void await(int ceid) {
        while (const auto received = host_.next_primary(30s)) {
            const sml::Message& message = received->message;
            if (message.stream == 5) record_.alarms.push_back(lots::read_alarm(message));
            if (message.stream != 6 || message.function != 11) continue;
            record_.events.push_back(lots::read_event(message));
            if (record_.events.back().ceid == ceid) return;
        }
        throw std::runtime_error("no event " + std::to_string(ceid) + " came");
    }

    EquipmentProcess& equipment_;
    CommunicatingHost host_;
    Record record_;
};

/// FA_SOAK=1 takes three quarters of a minute for it.
TEST(Lot, FromArrivalToDepartureWithAWholeHistoryOfEveryWafer) {
    EquipmentProcess equipment(machine(std::getenv("FA_SOAK") != nullptr ? "100.0" : "600.0", "0.3"));
    const Record record = OneLot(equipment).run(25);

    std::set<std::string> modules;
    const auto histories = lots::wafer_histories(record.events, 1);
    EXPECT_EQ(histories.size(), 25U);
    for (const auto& [slot, history] : histories) {
        const std::string module = history.substr(history.find("TM>") + 3, 3);
        modules.insert(module);
        EXPECT_EQ(history, lots::whole_history(module)) << slot;
    }
    EXPECT_EQ(modules.size(), 4U) << "all process modules were used";

    const int set = static_cast<int>(std::ranges::count(record.alarms, true, &lots::Alarm::set));
    EXPECT_GT(set, 0);
    for (const int ceid : {static_cast<int>(lots::step_held), 54101, 54102})
        EXPECT_EQ(set, std::ranges::count(record.events, ceid, &Event::ceid)) << ceid;
    std::set<int> standing;
    for (const lots::Alarm& alarm : record.alarms)
        EXPECT_TRUE(alarm.set ? standing.insert(alarm.alid).second : standing.erase(alarm.alid) == 1)
            << alarm.alid;
    EXPECT_TRUE(standing.empty());
    EXPECT_EQ(equipment.command("io Tool.WaferCount"), "= 25");
    EXPECT_EQ(equipment.command("io Tool.LotCount"), "= 1");
    EXPECT_EQ(equipment.command("ctc CMx_Carrier 0"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

/// The tool's own events with their values; those of the control state are the link's. The machine has no
/// clock, which some reports carry.
std::vector<Event> tool_events(int seed) {
    EquipmentOptions options = machine("1200.0", "0.3", seed);
    options.machine["clock = true"] = "clock = false";
    EquipmentProcess equipment(options);
    Record record = OneLot(equipment).run(10);
    std::erase_if(record.events, [](const Event& event) { return event.ceid / 100 == 101; });
    return std::move(record.events);
}

// With one lot the times of the host's commands shift all that follows and change no order, so nothing of the
// tool's own is left out of the comparison.
TEST(Lot, TheSameSeedGivesTheSameEvents) {
    const std::vector<Event> first = tool_events(11);
    const std::vector<Event> second = tool_events(11);
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        ASSERT_EQ(first[i].ceid, second[i].ceid) << i;
        ASSERT_EQ(first[i].values, second[i].values) << i;
    }
    EXPECT_NE(first, tool_events(12)) << "or the comparison proves nothing";
}

TEST(Lot, DemoScript) {
    EquipmentProcess equipment(machine("600.0", "0.1"));
    std::ostringstream demo;
    demo << std::ifstream(FA_DEMO "/lot.script").rdbuf();
    std::string script = demo.str();
    script.replace(script.find("define demo/"), 12, "define " FA_DEMO "/");
    auto run = std::async(std::launch::async, [&] { return support::run_host(equipment, script); });
    EXPECT_EQ(equipment.await("io SignalTower.Yellow", "= 1"), "= 1");
    EXPECT_EQ(equipment.command("carrier arrive 1 FOUP01"), "= ok");
    const support::Finished finished = run.get();
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_EQ(equipment.command("io SignalTower.Yellow"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

}  // namespace
