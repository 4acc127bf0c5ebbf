// Ends of the equipment's process that are none of its own choice, and full disks.
#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <thread>

#include "support/equipment_process.h"
#include "support/eventually.h"
#include "support/sml_host.h"

namespace {

namespace fs = std::filesystem;
using support::EquipmentProcess;
using support::SmlHost;
using namespace std::chrono_literals;

/// A data folder for several processes in turn.
struct DataFolder : support::TempFolder {
    DataFolder() { support::make_data_folder(*this); }
};

TEST(EquipmentLife, EndsWithTwoWhenItCannotStart) {
    const DataFolder data;
    EquipmentProcess first(data.path());
    const DataFolder bad_key;
    bad_key.put("machine.toml", "[tool]\ncolour = 1\n");
    const std::pair<fs::path, const char*> cases[] = {
        {data.path(), "another running process holds this data folder"},
        {data.path() / "none", "machine.toml"},
        {bad_key.path(), "machine.toml:2: unknown key 'colour' in [tool]"},
    };
    for (const auto& [folder, says] : cases) {
        const support::Finished second = support::run_program({FA_EQUIPMENT, "--data", folder.string()});
        EXPECT_EQ(second.status, 2) << second.output;
        EXPECT_NE(second.output.find(says), std::string::npos) << second.output;
        EXPECT_EQ(std::ranges::count(second.output, '\n'), 1) << second.output;
    }
    EXPECT_EQ(SmlHost(first.port()).ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    EXPECT_EQ(first.quit(), 0);
}

// Killed at any moment of replacing a file, it leaves the old one or the new one, never a part.
TEST(EquipmentLife, KilledWhileSavingItStartsAgainWithAWholeFile) {
    const DataFolder data;
    std::mt19937 random(7);
    const std::string with = "#Sx,Fx\n5,1\n6,11\n";
    const std::string without = "#Sx,Fx\n6,11\n";
    for (int round = 0; round < 8; ++round) {
        EquipmentProcess equipment(data.path());
        SmlHost host(equipment.port());
        std::thread killer([&equipment, wait = std::chrono::milliseconds(20 + random() % 200)] {
            std::this_thread::sleep_for(wait);
            equipment.kill();
        });
        try {
            for (int i = 0;; ++i)
                host.ask(i % 2 == 0 ? "S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>."
                                    : "S2F43 W <L <L <U1 6> <L <U1 11>>>>.");
        } catch (const std::exception&) {
            // killed
        }
        killer.join();
        const std::string saved = data.read("Z/FA/SPOOLING.inf");
        EXPECT_TRUE(saved == with || saved == without) << saved;
    }
    EXPECT_TRUE(EquipmentProcess(data.path()).command("status").starts_with("= Enter=1"));
}

// Nothing can be written: the messages still flow, and a save that failed is told.
TEST(EquipmentLife, AFullDiskDoesNotStopTheLink) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    const DataFolder data;
    fs::create_directories(data.path() / "log");
    for (const char* log : {"log/online.log", "log/system.log"})
        fs::create_symlink("/dev/full", data.path() / log);
    EquipmentProcess equipment(data.path());
    SmlHost host(equipment.port());
    for (int i = 0; i < 200; ++i) ASSERT_EQ(host.ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    // The folder of the saved files becomes a file: nothing can be made in it any more.
    fs::rename(data.path() / "Z/FA", data.path() / "Z/FA.away");
    data.put("Z/FA", "in the way");
    EXPECT_EQ(host.ask("S2F43 W <L <L <U1 6> <L <U1 11>>>>."), "S2F44 <L <B 0x00> <L>>.");
    EXPECT_EQ(host.ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    EXPECT_EQ(equipment.quit(), 0);
}

/// The host reads and answers until the equipment has nothing more to send.
bool takes_everything(SmlHost& host, EquipmentProcess& equipment) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!equipment.command("status").ends_with(" Queue=0")) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        host.ask("S1F3 W <L <U4 1002>>.");
    }
    return true;
}

TEST(EquipmentLife, FiveHundredReconnectsLeaveNothingBehind) {
    EquipmentProcess equipment({.settings = {{"T7_PRM", "1"}}, .machine = {}});
    // Or what a host leaves unread would be kept for the next one.
    EXPECT_EQ(SmlHost(equipment.port()).ask("S2F43 W <L>."), "S2F44 <L <B 0x00> <L>>.");
    int descriptors = 0;
    int threads = 0;
    long resident = 0;
    for (int i = 1; i <= 500; ++i) {
        std::optional<SmlHost> host(equipment.port());
        ASSERT_EQ(host->ask("S1F3 W <L <U4 1002>>.").substr(0, 4), "S1F4") << i;
        const bool leaves_in_the_middle = i % 75 == 1;
        if (!leaves_in_the_middle) {
            ASSERT_TRUE(takes_everything(*host, equipment)) << i;
        }
        host->raw().close(i % 2 == 0);
        host.reset();
        ASSERT_EQ(equipment.await("link", "= listening " + std::to_string(equipment.port()) + " -"),
                  "= listening " + std::to_string(equipment.port()) + " -");
        if (i == 5) {
            descriptors = equipment.descriptors();
            threads = equipment.threads();
            resident = equipment.resident_kb();
        }
    }
    EXPECT_TRUE(support::eventually([&] { return equipment.descriptors() <= descriptors; })) << descriptors;
    EXPECT_TRUE(support::eventually([&] { return equipment.threads() <= threads; })) << threads;
    if (!support::sanitized) {
        EXPECT_LE(equipment.resident_kb() - resident, 1024);
    }
}

}  // namespace
