// Three lots at once, two traces, and a host that goes away ten times in the middle of it all: the numbered
// events that it got are compared with those that were raised.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>

#include "support/equipment_process.h"
#include "support/host.h"
#include "tools/fault_run/event_record.h"

namespace {

using faults::first_number;
using support::CommunicatingHost;
using support::EquipmentProcess;
using namespace std::chrono_literals;

constexpr int cuts = 10;
constexpr int ports = 3;
// START comes between the two: the commands of a lot, in their order.
constexpr std::array names{"ProceedWithCarrierID", "START", "UnloadWithCarrierID"};

/// A host that runs a lot on each port and reconnects by itself. What asks for a command may be lost with a
/// connection, so every event of the ports and every trace sample is an occasion to try the next one again.
class RestlessHost {
  public:
    RestlessHost(EquipmentProcess& equipment, unsigned seed) : equipment_(equipment), random_(seed) {}

    void run() {
        for (const std::string port : {"1", "2", "3"}) {
            EXPECT_EQ(equipment_.command("carrier arrive " + port + " FOUP0" + port), "= ok");
            equipment_.command("mem CM" + port + ".PPID = LOT-OXIDE-STD");
        }
        connect();
        EXPECT_EQ(host_->ask("S2F43 W <L <L <U1 6> <L <U1 11>>>>."), "S2F44 <L <B 0x00> <L>>.");
        for (const char* trace : {"5", "6"})
            EXPECT_EQ(host_->ask("S2F23 W <L <U4 " + std::string(trace) +
                                 "> <A \"000001\"> <U4 1000> <U4 1> <L <U4 1002> <U4 2001>>>."),
                      "S2F24 <B 0x00>.");
        go_on();
        int until_cut = next_cut();
        while (!finished() && take())
            if (cuts_ < cuts && --until_cut == 0) {
                cut();
                until_cut = next_cut();
            }
        EXPECT_TRUE(finished()) << "the lots do not come to their end";
        raise_number();
        while (received_.back().number < last_number() && take()) {
        }
    }

    const std::vector<faults::Received>& received() const { return received_; }
    int last_number() const { return next_number_ - 1; }
    std::string ask(const std::string& sml) { return host_->ask(sml); }

  private:
    void connect() {
        host_.emplace(equipment_.port());
        ++connection_;
    }

    int next_cut() { return 150 + static_cast<int>(random_() % 300); }

    /// In the middle of a row of events, with a FIN or an RST, and with more raised while nobody is there.
    void cut() {
        for (auto left = random_() % 30; left > 0; --left) raise_number();
        host_->close(random_() % 2 == 0);
        ++cuts_;
        for (auto left = random_() % 30; left > 0; --left) raise_number();
        EXPECT_TRUE(equipment_.awaits_host());
        // What had come before the cut and was answered is received all the same.
        for (const auto& received : host_->kept()) record(received.message);
        connect();
        go_on();
    }

    void raise_number() {
        EXPECT_EQ(equipment_.command("event " + faults::raise_command(next_number_++)), "= ok");
    }

    bool take() {
        const auto received = host_->next_primary(30s);
        if (received && record(received->message)) go_on();
        return received.has_value();
    }

    /// True when it may be time for a command.
    bool record(const sml::Message& message) {
        if (const auto number = faults::number_in(message)) {
            received_.push_back({*number, connection_});
            return false;
        }
        if (message.stream != 6) return false;
        const std::vector<hsms::Item>& body = message.body.value().children;
        if (message.function == 1) {
            const std::int64_t before = std::exchange(samples_[body.at(0).integer(0)], body.at(1).integer(0));
            EXPECT_GT(body.at(1).integer(0), before) << "samples go up";
            return true;
        }
        raise_number();
        const std::int64_t family = body.at(1).integer(0) / 1000;
        return family == 41 || family == 48;
    }

    /// Tries the next command of every port; the equipment refuses what comes too early.
    void go_on() {
        for (int port = 1; port <= ports; ++port) {
            std::size_t& step = steps_.at(static_cast<std::size_t>(port) - 1);
            if (step == names.size()) continue;
            const std::string number = std::to_string(port);
            const std::string carrier = " <L <A \"CarrierID\"> <A \"FOUP0" + number + "\">>";
            const std::string reply = host_->ask("S2F41 W <L <A \"" + std::string(names.at(step)) +
                                                 "\"> <L <L <A \"PORTID\"> <U1 " + number + ">>" +
                                                 (step == 1 ? "" : carrier) + ">>.");
            if (reply.starts_with("S2F42 <L <B 0x04>")) ++step;
        }
    }

    bool finished() const {
        return cuts_ == cuts && std::ranges::all_of(steps_, [](std::size_t s) { return s == names.size(); });
    }

    EquipmentProcess& equipment_;
    std::mt19937 random_;
    std::optional<CommunicatingHost> host_;
    std::array<std::size_t, ports> steps_{};  // commands that were accepted
    std::vector<faults::Received> received_;
    std::map<std::int64_t, std::int64_t> samples_;  // the last of each trace
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
    const auto result = faults::compare(host.received(), host.last_number(), refused_numbers(equipment));
    EXPECT_EQ(result.findings, std::vector<std::string>{}) << result.summary;
    EXPECT_EQ(equipment.await("io Tool.LotCount", "= 3"), "= 3");
    EXPECT_EQ(equipment.command("io Tool.WaferCount"), "= 75");
    EXPECT_EQ(equipment.command("io Tool.WafersInTool"), "= 0");
    EXPECT_EQ(host.ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    EXPECT_EQ(equipment.quit(), 0);
}

/// FA_SOAK=1 takes ten seeds.
TEST(Lot, ThreeAtOnceAndAHostThatGoesAwayTenTimes) {
    const unsigned seeds = std::getenv("FA_SOAK") != nullptr ? 10 : 1;
    for (unsigned seed = 5; seed < 5 + seeds; ++seed) run_with_cuts(seed);
}

TEST(EventRecord, FindsWhatIsLostTwiceOrReordered) {
    const struct {
        std::vector<faults::Received> received;  // numbers after the first
        const char* finding;                     // the first of them
        std::set<int> refused = {};
    } rows[] = {
        {{{0, 1}, {1, 1}, {2, 1}, {3, 1}}, ""},
        {{{0, 1}, {2, 2}, {3, 2}}, ""},  // a cut took one
        {{{0, 1}, {2, 1}, {3, 1}}, "1 events lost before event 1000002, with 0 cuts between"},
        {{{0, 1}, {3, 2}}, "2 events lost before event 1000003, with 1 cuts between"},
        {{{0, 1}, {3, 2}}, "", {first_number + 1}},
        {{{0, 1}, {1, 1}, {1, 2}, {2, 2}, {3, 2}}, "event 1000001 came twice"},
        {{{0, 1}, {2, 2}, {1, 2}, {3, 2}}, "event 1000001 came after event 1000002"},
        {{{0, 1}, {1, 1}, {2, 1}}, "the last is event 1000003, but event 1000002 came last"},
        {{}, "the last is event 1000003, but event 999999 came last"},
    };
    for (auto [received, finding, refused] : rows) {
        for (faults::Received& event : received) event.number += first_number;
        const auto found = faults::compare(received, first_number + 3, refused).findings;
        EXPECT_EQ(found.empty() ? "" : found.front(), finding);
    }
}

}  // namespace
