// Lots from the carrier's arrival to its departure, by remote commands alone: what the host is told of every
// wafer, the same seed twice, and the demo's script.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

#include "lot_record.h"
#include "support/equipment_process.h"
#include "support/sml_host.h"

namespace {

using lots::Event;
using support::EquipmentOptions;
using support::EquipmentProcess;
using support::SmlHost;
using namespace std::chrono_literals;

EquipmentOptions machine(const std::string& speed, int seed, const std::string& alarm_rate) {
    return {.settings = {},
            .machine = {{"speed = 20.0", "speed = " + speed},
                        {"seed = 1", "seed = " + std::to_string(seed)},
                        {"alarm_rate = 0.02", "alarm_rate = " + alarm_rate}}};
}

/// "NAME=VALUE" with SML values, as S2F41.
std::string command(const std::string& name,
                    const std::vector<std::pair<std::string, std::string>>& parameters) {
    std::string text = "S2F41 W <L <A \"" + name + "\"> <L";
    for (const auto& [key, value] : parameters) text += " <L <A \"" + key + "\"> " + value + ">";
    return text + ">>.";
}

std::string text(const std::string& value) {
    return "<A \"" + value + "\">";
}

constexpr const char* accepted = "S2F42 <L <B 0x04> <L>>.";

/// The lot and wafer ids of a full carrier.
std::string lot_info(const std::string& lot, int wafers) {
    std::string list = "<L";
    for (int slot = 1; slot <= wafers; ++slot)
        list += " <L " + text(lot) + " " + text(lot + "-" + std::to_string(slot)) + ">";
    return list + ">";
}

/// What the host was told while one lot ran.
struct Record {
    std::vector<Event> events;
    std::vector<lots::Alarm> alarms;
};

/// Runs the wafers of the first slots of a carrier on port 1, each command given when the event comes that
/// asks for it.
class OneLot {
  public:
    explicit OneLot(EquipmentProcess& equipment) : equipment_(equipment), host_(equipment.port()) {}

    Record run(int slots) {
        const std::pair<std::string, std::string> port{"PORTID", "<U1 1>"};
        const std::pair<std::string, std::string> carrier{"CarrierID", text("FOUP01")};
        await(lots::on_line_remote);  // what the tool tells before is refused
        EXPECT_EQ(equipment_.command("carrier arrive 1 FOUP01"), "= ok");
        await(lots::carrier_docked);
        give(command("ProceedWithCarrierID", {port, carrier}));
        await(lots::slot_map_read);
        give(command("ProceedWithSlotMap", {port,
                                            {"WaferCount", "<U1 25>"},
                                            {"LotInfo", lot_info("LOT7", 25)},
                                            {"SlotMap", text(std::string(25, '1'))}}));
        await(lots::slot_map_verified);
        give(command("StartProcess", {port,
                                      {"JOBID", text("JOB7")},
                                      carrier,
                                      {"RECIPE", text("LOT-OXIDE-STD")},
                                      {"StartSlot", "<U1 1>"},
                                      {"EndSlot", "<U1 " + std::to_string(slots) + ">"}}));
        await(lots::carrier_unclamped);
        give(command("UnloadWithCarrierID", {port, carrier}));
        await(lots::port_empty);
        return std::move(record_);
    }

  private:
    void give(const std::string& sml) { EXPECT_EQ(host_.ask(sml), accepted) << sml; }

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
    SmlHost host_;
    Record record_;
};

int count(const std::vector<Event>& events, int ceid) {
    return static_cast<int>(std::ranges::count(events, ceid, &Event::ceid));
}

/// Every alarm set is cleared before the same one is set again, and none is left.
void expect_alarms_in_pairs(const std::vector<lots::Alarm>& alarms) {
    std::set<int> standing;
    for (const lots::Alarm& alarm : alarms)
        EXPECT_TRUE(alarm.set ? standing.insert(alarm.alid).second : standing.erase(alarm.alid) == 1)
            << alarm.alid;
    EXPECT_TRUE(standing.empty());
}

/// FA_SOAK=1 takes three quarters of a minute for it.
TEST(Lot, FromArrivalToDepartureWithAWholeHistoryOfEveryWafer) {
    EquipmentProcess equipment(machine(std::getenv("FA_SOAK") != nullptr ? "100.0" : "600.0", 3, "0.3"));
    const Record record = OneLot(equipment).run(25);

    auto histories = lots::wafer_histories(record.events, 1);
    EXPECT_EQ(histories.size(), 25U);
    std::map<std::string, int> wafers_by_module;
    int held = 0;
    for (auto& [slot, lines] : histories) {
        SCOPED_TRACE(slot);
        held += static_cast<int>(
            std::erase_if(lines, [](const std::string& line) { return line.starts_with("10305"); }));
        ASSERT_GT(lines.size(), 8U);
        const std::string module = lines[8].substr(lines[8].find('>') + 1);
        ++wafers_by_module[module];
        EXPECT_EQ(lines, lots::whole_history(module, "LP1"));
    }
    EXPECT_EQ(wafers_by_module.size(), 4U) << "all process modules were used";

    const int set = static_cast<int>(std::ranges::count(record.alarms, true, &lots::Alarm::set));
    EXPECT_GT(set, 0);
    EXPECT_EQ(set, held) << "each alarm holds a step";
    EXPECT_EQ(set, count(record.events, 54101));
    EXPECT_EQ(set, count(record.events, 54102));
    expect_alarms_in_pairs(record.alarms);
    EXPECT_EQ(equipment.command("io Tool.WaferCount"), "= 25");
    EXPECT_EQ(equipment.command("io Tool.LotCount"), "= 1");
    EXPECT_EQ(equipment.command("ctc CMx_Carrier 0"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

/// The tool's own events with their values; those of the control state are the link's.
std::vector<Event> tool_events(int seed) {
    EquipmentProcess equipment(machine("1200.0", seed, "0.3"));
    Record record = OneLot(equipment).run(10);
    std::erase_if(record.events, [](const Event& event) { return event.ceid / 100 == 101; });
    return std::move(record.events);
}

// With one lot the times of the host's commands shift all that follows and change no order, so nothing of the
// tool's own is left out of the comparison.
TEST(Lot, TheSameSeedGivesTheSameEvents) {
    const std::vector<Event> first = tool_events(11);
    const std::vector<Event> second = tool_events(11);
    const std::vector<Event> other = tool_events(12);
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(first[i], second[i]) << i;
    EXPECT_NE(first, other) << "or the comparison proves nothing";
}

std::string read(const std::string& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

TEST(Lot, DemoScript) {
    EquipmentProcess equipment(machine("600.0", 1, "0.1"));
    const support::TempFolder folder;
    std::string script = read(std::string(FA_DEMO) + "/lot.script");
    const std::string definitions = "define demo/";
    script.replace(script.find(definitions), definitions.size(), "define " + std::string(FA_DEMO) + "/");
    const std::string file = folder.put("lot.script", script).string();
    auto run = std::async(std::launch::async, [&] {
        return support::run_program(
            {FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()), "--script", file});
    });
    EXPECT_EQ(equipment.await("io SignalTower.Yellow", "= 1"), "= 1");
    EXPECT_EQ(equipment.command("carrier arrive 1 FOUP01"), "= ok");
    const support::Finished finished = run.get();
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_EQ(equipment.command("io SignalTower.Yellow"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

}  // namespace
