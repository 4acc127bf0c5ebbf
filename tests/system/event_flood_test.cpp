// Event commands by the ten thousand on the equipment's standard input, every second one malformed: the host
// gets exactly the events that are to be raised, in their order.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sstream>

#include "lot_record.h"
#include "support/bytes.h"
#include "support/equipment_process.h"
#include "support/sml_host.h"

namespace {

using support::EquipmentProcess;
using support::SmlHost;

/// A command and the event that it raises, 0 for none.
struct Command {
    std::string text;
    int ceid;
};

std::string number_below(std::mt19937& random, unsigned limit) {
    return std::to_string(random() % limit);
}

/// A value for a word of the descriptions in CEID.cfg; any other word stands for itself.
std::string value_of(const std::string& word, std::mt19937& random) {
    if (word == "PORT" || word == "OTHER PORT") return number_below(random, 3);
    if (word == "SLOT") return number_below(random, 25);
    if (word == "PM") return number_below(random, 4);
    if (word == "FROM" || word == "TO" || word == "MODULE") return "PM" + number_below(random, 6);
    if (word == "ALID" || word == "TRID" || word == "COUNT" || word == "ECID")
        return number_below(random, 100'000);
    return word;
}

/// The demo machine's CEID.cfg tells each event's command: "PORT_STATE 1|PORT, PORT_TRANSFER 1|PORT".
std::vector<Command> event_descriptions() {
    std::vector<Command> commands;
    std::ifstream file(std::string(FA_DEMO_MACHINE) + "/Z/FA/CEID.cfg");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        std::istringstream fields(line);
        int data_id = 0;
        int ceid = 0;
        fields >> data_id >> ceid;
        std::string text = line.substr(line.find('"') + 1);
        text.erase(std::min({text.find('"'), text.find(", "), text.find(" or ")}));
        commands.push_back({text, ceid});
    }
    return commands;
}

std::string filled_in(const std::string& description, std::mt19937& random) {
    std::string text = description.substr(0, description.find(' ') + 1);
    std::istringstream fields(description.substr(text.size()));
    for (std::string word; std::getline(fields, word, '|'); text += '|') text += value_of(word, random);
    text.pop_back();
    return text;
}

std::string garbage(std::mt19937& random) {
    std::string text;
    for (auto left = 1 + random() % 300; left > 0; --left) {
        const char byte = static_cast<char>(random());
        if (byte != '\n' && byte != '\r') text += byte;
    }
    return "\xE9" + text;
}

/// A good command that is made one that raises nothing.
std::string mangled(std::string text, std::mt19937& random) {
    const std::size_t line = text.find('_');
    const std::size_t blank = text.find(' ');
    switch (random() % 11) {
        case 0: return "X" + text;
        case 1: return text.replace(0, 1, 1, static_cast<char>(text[0] | 0x20));
        case 2: return text.erase(line, 1);
        case 3: return text.replace(line, 1, 1, ' ');
        case 4: return text.insert(blank, "S");
        case 5: return text.erase(blank);
        case 6: return text.erase(line + 1);
        case 7: return text.insert(blank, 20'000, 'x');
        case 8: return text.erase(blank) + " 99999999999|0|0||77";
        case 9: return text.erase(blank) + " -1|0|0||-1";
        default: return garbage(random);
    }
}

/// Malformed ones of their own.
const char* const senseless =
    "PORT_STATE 1|-1;PORT_STATE 1|3;PORT_STATE 13|0;PORT_TRANSFER 8|0;PM_STATE 1|4;SUBST_TRACK |0|25||9;"
    "SUBST_TRACK |3|0||9;SUBST_TRACK 9|0|0;CARRIER_ID 8|0;SEMI_TRANSFER 8;_;_STATE 1|0;PORT_ 1|0;|||||||||;"
    "SEND_PRIMIRY;SEND_PRIMIRY S6F|;SEND_PRIMIRY S99F99|1,2,3;SUBST_TRACK |0|0|LP1|5|-1|EFEM|0;"
    "PM_STATE 3|-2147483648|MAIN|1;SEND_ALARM_POST 999999;SEND_ALARM_CLEAR x;REQUEST_NOTHING";
/// A field that is missing or no number is 0, so these raise their event.
const Command loose[] = {
    {"PORT_STATE 3", 11301},
    {"PORT_STATE 3|abc|||", 11301},
    {"PORT_STATE \t 3x|1zzz", 11301},
    {"PM_STATE 1|", 10301},
    {"SUBST_TRACK ||||9", 30401},
    {"ALARM_REPORT 1||||||", 54101},
    {"ALARM_REPORT 2|99999999999999999999|-99999999999999999999|%s%n%d", 54102},
};

class Commands {
  public:
    /// Every second one malformed, in a random order.
    std::vector<Command> next(int count) {
        std::vector<Command> commands;
        for (int i = 0; i < count; i += 2) {
            commands.push_back(good());
            commands.push_back(malformed());
        }
        std::ranges::shuffle(commands, random_);
        return commands;
    }

  private:
    Command good() {
        const Command& described = descriptions_.at(turn_++ % descriptions_.size());
        return {filled_in(described.text, random_), described.ceid};
    }
    Command malformed() {
        if (random_() % 4 == 0) return {senseless_.at(random_() % senseless_.size()), 0};
        if (random_() % 12 == 0) return loose[random_() % std::size(loose)];
        return {mangled(good().text, random_), 0};
    }

    std::mt19937 random_{20};
    const std::vector<std::string> senseless_ = split(senseless, ';');
    const std::vector<Command> descriptions_ = event_descriptions();
    std::size_t turn_ = 0;
};

/// The next `count` events off the line; fewer when no more come.
std::vector<int> events(SmlHost& host, std::size_t count, int& alarms) {
    std::vector<int> ceids;
    while (ceids.size() < count) {
        const auto received = host.next_primary();
        if (!received) break;
        alarms += received->message.stream == 5 ? 1 : 0;
        if (received->message.stream == 6 && received->message.function == 11)
            ceids.push_back(lots::read_event(received->message).ceid);
    }
    return ceids;
}

/// FA_SOAK=1 takes a hundred thousand.
TEST(EventFlood, WhatIsToBeRaisedArrivesAndNothingElse) {
    const int total = std::getenv("FA_SOAK") != nullptr ? 100'000 : 10'000;
    constexpr int at_once = 200;
    EquipmentProcess equipment(
        {.settings = {},
         .machine = {{"react = true", "react = false"}, {"moving = true", "moving = false"}}});
    SmlHost host(equipment.port());
    ASSERT_EQ(equipment.await("gem Online_Status", "= 1"), "= 1");
    Commands commands;
    int alarms = 0;
    int raised = 0;
    long resident = 0;
    for (int done = 0; done < total; done += at_once) {
        if (done == total / 5) resident = equipment.resident_kb();
        std::vector<int> expected;
        std::map<int, std::string> texts;
        for (const Command& command : commands.next(at_once)) {
            ASSERT_EQ(equipment.command("event " + command.text), "= ok") << command.text;
            if (command.ceid == 0) continue;
            expected.push_back(command.ceid);
            texts[command.ceid] = command.text;
        }
        const std::vector<int> got = events(host, expected.size(), alarms);
        for (std::size_t i = 0; i < std::min(got.size(), expected.size()); ++i)
            ASSERT_EQ(got[i], expected[i]) << texts[expected[i]] << " and behind";
        ASSERT_EQ(got.size(), expected.size()) << "from " << done;
        raised += static_cast<int>(got.size());
    }
    std::cout << total << " commands, " << raised << " events, resident " << resident << " kB, then "
              << equipment.resident_kb() << " kB\n";
    EXPECT_EQ(alarms, 0);
    EXPECT_GT(raised, total / 2);
    EXPECT_EQ(equipment.await("event ALARM_REPORT 1|4|0|the last", "= ok"), "= ok");
    EXPECT_EQ(events(host, 1, alarms), std::vector<int>{lots::numbered}) << "nothing came between";
    if (!support::sanitized) {
        EXPECT_LE(equipment.resident_kb() - resident, 1024);
    }
    EXPECT_EQ(equipment.quit(), 0);
}

}  // namespace
