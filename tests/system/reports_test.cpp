// Event reports and traces over the link: spooling while the host is away, events by the ten thousand among
// malformed ones, and sampling in real time.
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <regex>
#include <sstream>

#include "sml/reader.h"
#include "support/equipment_process.h"
#include "support/host.h"
#include "tools/fault_run/event_record.h"

namespace {

using support::CommunicatingHost;
using support::EquipmentProcess;
using namespace std::chrono_literals;

const bool soak = std::getenv("FA_SOAK") != nullptr;

/// An event whose report carries a number of ours: CEID 54101 with the alarm's ALID.
void define_numbered_report(CommunicatingHost& host) {
    EXPECT_EQ(host.ask("S2F35 W <L <U4 0> <L <L <U4 54101> <L>>>>."), "S2F36 <B 0x00>.");
    EXPECT_EQ(host.ask("S2F33 W <L <U4 7> <L <L <U4 60001> <L <U4 9012>>>>>."), "S2F34 <B 0x00>.");
    EXPECT_EQ(host.ask("S2F35 W <L <U4 7> <L <L <U4 54101> <L <U4 60001>>>>>."), "S2F36 <B 0x00>.");
    EXPECT_EQ(host.ask("S2F37 W <L <BOOLEAN T> <L <U4 54101>>>."), "S2F38 <B 0x00>.");
}

std::int64_t ceid_of(const sml::Message& s6f11) {
    return s6f11.body.value().children.at(1).integer(0);
}

/// The number that the next report of the event carries; on-line again raises events of its own.
std::int64_t next_number(CommunicatingHost& host) {
    for (;;)
        if (const sml::Message report = host.next(6, 11).message; ceid_of(report) == 54101)
            return report.body->children.at(2).children.at(0).children.at(1).children.at(0).integer(0);
}

void raise_thousand(EquipmentProcess& equipment) {
    EXPECT_EQ(equipment.command("repeat 1000 event ALARM_REPORT 1|{n}|0|spooled"), "= ok 1000");
}

void expect_thousand(CommunicatingHost& host) {
    for (int expected = 1; expected <= 1000; ++expected) ASSERT_EQ(next_number(host), expected);
}

TEST(Spooling, EventsRaisedWhileTheHostIsAwayArriveAllOnceAndInOrder) {
    EquipmentProcess equipment;
    std::optional<CommunicatingHost> host(equipment.port());
    define_numbered_report(*host);
    EXPECT_EQ(host->ask("S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>."),
              "S2F44 <L <B 0x00> <L>>.");
    host->close();
    EXPECT_TRUE(equipment.awaits_host());
    raise_thousand(equipment);
    EXPECT_EQ(equipment.command("event SEND_ALARM_POST 1001"), "= ok");
    host.emplace(equipment.port());
    expect_thousand(*host);
    host->next(5, 1);
}

TEST(Spooling, WithoutItNothingOutlivesTheLink) {
    EquipmentProcess equipment;
    std::optional<CommunicatingHost> host(equipment.port());
    define_numbered_report(*host);
    EXPECT_EQ(host->ask("S2F43 W <L>."), "S2F44 <L <B 0x00> <L>>.");
    host->close();
    EXPECT_TRUE(equipment.awaits_host());
    std::optional<support::Footprint> early;
    for (int round = 1; round <= 5; ++round) {
        raise_thousand(equipment);
        EXPECT_TRUE(equipment.await("status", " Queue=0").ends_with(" Queue=0"));
        if (round == 2) early = equipment.footprint();
    }
    EXPECT_EQ(early->growth(2048), "") << "of three thousand reports of about 1 kB";
    host.emplace(equipment.port());
    EXPECT_EQ(equipment.command("event ALARM_REPORT 1|2026|0|after"), "= ok");
    EXPECT_EQ(next_number(*host), 2026);
}

/// FA_SOAK=1 takes 100,000 reports.
TEST(EventReports, LeaveNoMemoryBehind) {
    EquipmentProcess equipment;
    CommunicatingHost host(equipment.port());
    define_numbered_report(host);
    std::optional<support::Footprint> early;
    for (int round = 1; round <= (soak ? 100 : 5); ++round) {
        raise_thousand(equipment);
        expect_thousand(host);
        if (round == 2) early = equipment.footprint();
    }
    EXPECT_EQ(early->growth(2048, 1), "") << "of three thousand and more reports of about 1 kB";
}

using Commands = std::vector<std::pair<std::string, int>>;

/// The demo machine's CEID.cfg has each event's command, "PORT_STATE 1|PORT, PORT_TRANSFER 1|PORT": the first
/// of them, with values for its words.
Commands described_commands() {
    Commands commands;
    std::ifstream file(FA_DEMO_MACHINE "/Z/FA/CEID.cfg");
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        int data_id = 0;
        int ceid = 0;
        if (!(fields >> data_id >> ceid)) continue;
        std::string text = line.substr(line.find('"') + 1);
        text.erase(std::min({text.find('"'), text.find(", "), text.find(" or ")}));
        text = std::regex_replace(text, std::regex("\\|(FROM|TO|MODULE)"), "|PM1");
        commands.push_back({std::regex_replace(text, std::regex("\\|[A-Z ]+(?=\\||$)"), "|1"), ceid});
    }
    return commands;
}

/// What raises nothing; the event table's tests have every kind.
std::string malformed(std::string text, std::mt19937& random) {
    switch (random() % 5) {
        case 0: return "X" + text;
        case 1: return text.erase(text.find('_'), 1);
        case 2: return text.insert(text.find(' '), 20'000, 'x');
        case 3: return text.erase(text.find(' ')) + " -1|0|0||99999999999";
        default:
            text = "\xE9";
            for (auto left = random() % 300; left > 0; --left)
                text += static_cast<char>(random() % 100 == 0 ? '|' : 0x80U | random());
            return text;
    }
}

/// Every second command is malformed; exactly the others' events come, in their order. FA_SOAK=1 takes a
/// hundred thousand.
TEST(EventReports, AFloodOfCommands) {
    EquipmentProcess equipment(
        {.settings = {},
         .machine = {{"react = true", "react = false"}, {"moving = true", "moving = false"}}});
    CommunicatingHost host(equipment.port());
    ASSERT_EQ(equipment.await("gem Online_Status", "= 1"), "= 1");
    const Commands commands = described_commands();
    std::mt19937 random(20);
    std::size_t turn = 0;
    std::optional<support::Footprint> early;
    for (int round = 0; round < (soak ? 500 : 50); ++round) {
        const std::size_t first = turn;
        for (int i = 0; i < 100; ++i) {
            const std::string& text = commands.at(turn++ % commands.size()).first;
            ASSERT_EQ(equipment.command("event " + malformed(text, random)), "= ok");
            ASSERT_EQ(equipment.command("event " + text), "= ok") << text;
        }
        for (std::size_t i = first; i < turn; ++i) {
            const auto& [text, ceid] = commands.at(i % commands.size());
            ASSERT_EQ(ceid_of(host.next(6, 11).message), ceid) << text << " or before it";
        }
        if (round == 10) early = equipment.footprint();
    }
    EXPECT_EQ(equipment.command("event ALARM_REPORT 1|4|0|the last"), "= ok");
    EXPECT_EQ(ceid_of(host.next(6, 11).message), 54101) << "nothing came between";
    EXPECT_EQ(early->growth(1024), "");
    EXPECT_EQ(equipment.quit(), 0);
}

/// Its reports flow without a wait for T7, and what it never answers holds up the next for T7 alone.
TEST(EventReports, AHostOfAnotherMake) {
    EquipmentProcess equipment({.settings = {{"T3_PRM", "1"}, {"T7_PRM", "5"}}, .machine = {}});
    CommunicatingHost host(equipment.port());
    EXPECT_EQ(equipment.await("gem Online_Status", "= 1"), "= 1");
    EXPECT_EQ(host.ask("S2F33 W <L <U4 1> <L <L <U4 60001> <L <U4 9012>>>>>."), "S2F34 <B 0x00>.");
    EXPECT_EQ(host.ask("S2F35 W <L <U4 2> <L <L <U4 800> <L <U4 60001>>>>>."), "S2F36 <B 0x00>.");
    host.answers = [automatic = host.answers](const sml::Message& primary) -> support::Host::Messages {
        if (primary.stream != 6) return automatic(primary);
        if (primary.function != 11) return {};
        return {sml::parse_message("S9F7 <B 0 0 0x86 11 0 0 0 0 0 0>."), sml::parse_message("S6F0.")};
    };
    EXPECT_EQ(equipment.command("repeat 100 event ALARM_REPORT 1|{n}|0|x"), "= ok 100");
    for (int i = 0; i < 100; ++i) host.next(6, 11, 4s);
    EXPECT_EQ(host.ask("S2F23 W <L <U4 3> <A \"000001\"> <U4 1> <U4 1> <L <U4 1002>>>."), "S2F24 <B 0x00>.");
    host.next(6, 1);
    EXPECT_EQ(host.ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    EXPECT_EQ(equipment.command("event ALARM_REPORT 1|101|0|x"), "= ok");
    host.next(6, 11);
    EXPECT_EQ(equipment.quit(), 0);
}

/// Every sample comes when it is due; FA_SOAK=1 takes the full minute.
TEST(Trace, SamplesComeAtTheirTime) {
    const int samples = soak ? 60 : 4;
    EquipmentProcess equipment;
    CommunicatingHost host(equipment.port());
    std::string request = "S2F23 W <L <U4 5> <A \"000001\"> <U4 " + std::to_string(samples) + "> <U4 1> <L";
    std::istringstream svids(equipment.command("table SVID").substr(2));
    std::string svid;
    for (int i = 0; i < 100 && svids >> svid; ++i) request += " <U4 " + svid + ">";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.ask(request + ">>."), "S2F24 <B 0x00>.");
    for (int sample = 1; sample <= samples; ++sample) {
        const CommunicatingHost::Received received = host.next(6, 1);
        const hsms::Item& body = received.message.body.value();
        EXPECT_EQ(body.children.at(0).integer(0), 5);
        EXPECT_EQ(body.children.at(1).integer(0), sample);
        EXPECT_EQ(body.children.at(3).children.size(), 100U);
        const auto after = received.at - start;
        EXPECT_GE(after, sample * 1s) << sample;
        // On a loaded machine or under a sanitizer only the order and the number count.
        EXPECT_TRUE(!soak || after <= sample * 1s + 600ms) << sample;
    }
    EXPECT_THROW(host.next(6, 1, 1500ms), std::runtime_error) << "no sample comes after the last";
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
        {{{0, 1}, {3, 2}}, "", {faults::first_number + 1}},
        {{{0, 1}, {1, 1}, {1, 2}, {2, 2}, {3, 2}}, "event 1000001 came twice"},
        {{{0, 1}, {2, 2}, {1, 2}, {3, 2}}, "event 1000001 came after event 1000002"},
        {{{0, 1}, {1, 1}, {2, 1}}, "the last is event 1000003, but event 1000002 came last"},
        {{}, "the last is event 1000003, but event 999999 came last"},
    };
    for (auto [received, finding, refused] : rows) {
        for (faults::Received& event : received) event.number += faults::first_number;
        const auto found = faults::compare(received, faults::first_number + 3, refused).findings;
        EXPECT_EQ(found.empty() ? "" : found.front(), finding);
    }
}

}  // namespace
