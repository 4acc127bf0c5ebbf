// Three lots at once, two traces, and a host that goes away ten times in the middle of it all: the record of
// the numbered events that the host keeps is compared with what was raised.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "lot_record.h"
#include "support/equipment_process.h"
#include "support/sml_host.h"

namespace {

using support::EquipmentProcess;
using support::SmlHost;
using namespace std::chrono_literals;

constexpr int cuts = 10;
constexpr int ports = 3;
// A number of ours in the place of the alarm's, out of reach of the tool's own alarms.
constexpr int first_number = 1'000'000;

/// A host that runs a lot on each port and reconnects by itself. What asks for a command may be lost with a
/// connection, so every event of the ports and every trace sample is an occasion to try the next one again.
class RestlessHost {
  public:
    RestlessHost(EquipmentProcess& equipment, unsigned seed) : equipment_(equipment), random_(seed) {}

    void run() {
        for (int port = 1; port <= ports; ++port) {
            const std::string number = std::to_string(port);
            EXPECT_EQ(equipment_.command("carrier arrive " + number + " FOUP0" + number), "= ok");
            equipment_.command("mem CM" + number + ".PPID = LOT-OXIDE-STD");
        }
        connect();
        EXPECT_EQ(host_->ask("S2F43 W <L <L <U1 6> <L <U1 11>>>>."), "S2F44 <L <B 0x00> <L>>.");
        for (const char* trace : {"5", "6"})
            EXPECT_EQ(host_->ask("S2F23 W <L <U4 " + std::string(trace) +
                                 "> <A \"000001\"> <U4 1000> <U4 1> <L <U4 1002> <U4 2001>>>."),
                      "S2F24 <B 0x00>.");
        go_on();
        const auto patient_until = std::chrono::steady_clock::now() + 300s;
        int until_cut = next_cut();
        while (!finished() && std::chrono::steady_clock::now() < patient_until) {
            if (!take()) continue;
            if (cuts_ == cuts || --until_cut > 0) continue;
            cut();
            until_cut = next_cut();
        }
        EXPECT_TRUE(finished()) << "the lots do not come to their end";
        raise_number();
        while (last_received() < next_number_ - 1 && take()) {
        }
    }

    /// Numbers come in order and once; of those that were not refused a cut takes one at most.
    void compare(const std::set<int>& refused) const {
        int last = first_number - 1;
        int last_connection = 1;
        int lost = 0;
        for (const auto& [number, connection] : received_) {
            EXPECT_GT(number, last) << "twice, or out of order";
            int missing = 0;
            for (int between = last + 1; between < number; ++between)
                missing += refused.contains(between) ? 0 : 1;
            EXPECT_LE(missing, connection - last_connection)
                << "before event " << number << " of connection " << connection;
            lost += missing;
            last = number;
            last_connection = connection;
        }
        EXPECT_EQ(last, next_number_ - 1) << "the last event came";
        std::cout << "numbered events raised " << next_number_ - first_number << ", refused "
                  << refused.size() << ", lost in flight " << lost << ", cuts " << cuts_ << "\n";
    }

    int cuts_made() const { return cuts_; }
    SmlHost& host() { return *host_; }

  private:
    void connect() {
        host_.emplace(equipment_.port());
        ++connection_;
    }

    int next_cut() { return 150 + static_cast<int>(random_() % 300); }

    /// In the middle of a row of events, with a FIN or an RST, and with more raised while nobody is there.
    void cut() {
        for (auto left = random_() % 30; left > 0; --left) raise_number();
        host_->raw().close(random_() % 2 == 0);
        ++cuts_;
        for (auto left = random_() % 30; left > 0; --left) raise_number();
        EXPECT_TRUE(equipment_.awaits_host());
        // What had come before the cut and was answered is received all the same.
        for (const SmlHost::Received& received : host_->kept()) record(received.message);
        connect();
        go_on();
    }

    void raise_number() {
        EXPECT_EQ(
            equipment_.command("event ALARM_REPORT 1|" + std::to_string(next_number_++) + "|0|numbered"),
            "= ok");
    }

    int last_received() const { return received_.empty() ? 0 : received_.back().first; }

    bool take() {
        const auto received = host_->next_primary(30s);
        if (!received) return false;
        if (record(received->message)) go_on();
        return true;
    }

    /// True when it may be time for a command.
    bool record(const sml::Message& message) {
        if (message.stream == 6 && message.function == 1) {
            const std::vector<hsms::Item>& body = message.body.value().children;
            int& last = samples_[static_cast<int>(body.at(0).integer(0))];
            EXPECT_GT(body.at(1).integer(0), last) << "samples go up";
            last = static_cast<int>(body.at(1).integer(0));
            return true;
        }
        if (message.stream != 6 || message.function != 11) return false;
        const lots::Event event = lots::read_event(message);
        if (event.ceid == lots::numbered && event.number(0) >= first_number) {
            received_.emplace_back(event.number(0), connection_);
            return false;
        }
        raise_number();
        return event.ceid / 1000 == 41 || event.ceid / 1000 == 48;
    }

    /// Tries the next command of every port; the equipment refuses what comes too early.
    void go_on() {
        constexpr std::array names{"ProceedWithCarrierID", "START", "UnloadWithCarrierID"};
        for (int port = 1; port <= ports; ++port) {
            std::size_t& step = steps_.at(static_cast<std::size_t>(port) - 1);
            if (step == names.size()) continue;
            const bool start = step == 1;
            const std::string number = std::to_string(port);
            const std::string reply = host_->ask(
                "S2F41 W <L <A \"" + std::string(names.at(step)) + "\"> <L <L <A \"PORTID\"> <U1 " + number +
                ">>" + (start ? "" : " <L <A \"CarrierID\"> <A \"FOUP0" + number + "\">>") + ">>.");
            if (reply.starts_with("S2F42 <L <B 0x04>")) ++step;
        }
    }

    bool finished() const {
        return cuts_ == cuts && std::ranges::all_of(steps_, [](std::size_t step) { return step == 3; });
    }

    EquipmentProcess& equipment_;
    std::mt19937 random_;
    std::optional<SmlHost> host_;
    std::array<std::size_t, ports> steps_{};     // commands that were accepted
    std::vector<std::pair<int, int>> received_;  // number and connection
    std::map<int, int> samples_;                 // the last of each trace
    int next_number_ = first_number;
    int connection_ = 0;
    int cuts_ = 0;
};

/// The numbers that the module refused, as its log names them.
std::set<int> refused_numbers(EquipmentProcess& equipment) {
    EXPECT_EQ(equipment.command("flush"), "= ok");
    std::set<int> numbers;
    std::ifstream log(equipment.data() / "log" / "system.log");
    const std::string mark = "ALARM_REPORT 1|";
    for (std::string line; std::getline(log, line);)
        if (const std::size_t at = line.find(mark);
            at != std::string::npos && line.find("执行失败") != std::string::npos)
            if (const int number = std::atoi(line.c_str() + at + mark.size()); number >= first_number)
                numbers.insert(number);
    return numbers;
}

void run_with_cuts(unsigned seed) {
    SCOPED_TRACE(seed);
    EquipmentProcess equipment(
        {.settings = {{"T5_PRM", "1"}, {"T6_PRM", "1"}, {"T7_PRM", "1"}},
         .machine = {{"speed = 20.0", "speed = 600.0"}, {"alarm_rate = 0.02", "alarm_rate = 0.1"}}});
    RestlessHost host(equipment, seed);
    host.run();
    host.compare(refused_numbers(equipment));
    EXPECT_EQ(host.cuts_made(), cuts);
    EXPECT_EQ(equipment.await("io Tool.LotCount", "= 3"), "= 3");
    EXPECT_EQ(equipment.command("io Tool.WaferCount"), "= 75");
    EXPECT_EQ(equipment.command("io Tool.WafersInTool"), "= 0");
    EXPECT_EQ(host.host().ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    EXPECT_EQ(equipment.quit(), 0);
}

/// FA_SOAK=1 takes ten seeds.
TEST(Lot, ThreeAtOnceAndAHostThatGoesAwayTenTimes) {
    const unsigned seeds = std::getenv("FA_SOAK") != nullptr ? 10 : 1;
    for (unsigned seed = 5; seed < 5 + seeds; ++seed) run_with_cuts(seed);
}

}  // namespace
