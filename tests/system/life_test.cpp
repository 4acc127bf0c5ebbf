// Ends of the equipment's process that are none of its own choice, and full disks.
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

#include "support/equipment_process.h"
#include "support/sml_host.h"

namespace {

namespace fs = std::filesystem;
using support::EquipmentProcess;
using support::SmlHost;
using namespace std::chrono_literals;

std::string read(const fs::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

/// A copy of the demo folder with a free port, to be used by several processes in turn.
struct DataFolder {
    support::TempFolder folder;
    fs::path path = folder.path() / "data";

    DataFolder() {
        fs::copy(FA_DEMO_MACHINE, path, fs::copy_options::recursive);
        std::string settings = read(path / "Z/FA/FA_SAVE.inf");
        const std::size_t at = settings.find("5000");
        if (at == std::string::npos) throw std::runtime_error("the demo machine's port is not 5000");
        settings.replace(at, 4, "0   ");
        std::ofstream(path / "Z/FA/FA_SAVE.inf", std::ios::binary) << settings;
    }
};

TEST(EquipmentLife, ASecondOneOnTheFolderSaysSoAndTheFirstIsUnharmed) {
    const DataFolder data;
    EquipmentProcess first(data.path);
    const support::Finished second = support::run_program({FA_EQUIPMENT, "--data", data.path.string()});
    EXPECT_EQ(second.status, 2);
    EXPECT_NE(second.output.find("another running process holds this data folder"), std::string::npos)
        << second.output;
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
        EquipmentProcess equipment(data.path);
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
        const std::string saved = read(data.path / "Z/FA/SPOOLING.inf");
        EXPECT_TRUE(saved == with || saved == without) << saved;
    }
    EquipmentProcess equipment(data.path);
    EXPECT_EQ(equipment.command("status").substr(0, 9), "= Enter=1");
}

// Nothing can be written: the messages still flow, and a save that failed is told.
TEST(EquipmentLife, AFullDiskDoesNotStopTheLink) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    const DataFolder data;
    fs::create_directories(data.path / "log");
    for (const char* log : {"online.log", "system.log"})
        fs::create_symlink("/dev/full", data.path / "log" / log);
    EquipmentProcess equipment(data.path);
    SmlHost host(equipment.port());
    for (int i = 0; i < 200; ++i) ASSERT_EQ(host.ask("S1F1 W."), "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.");
    // The folder of the saved files becomes a file: nothing can be made in it any more.
    fs::rename(data.path / "Z/FA", data.path / "Z/FA.away");
    std::ofstream(data.path / "Z/FA") << "in the way";
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
    EXPECT_EQ(equipment.descriptors(), descriptors);
    EXPECT_LE(equipment.threads(), threads + 1) << "a callback thread may still be ending";
    if (!support::sanitized) {
        EXPECT_LE(equipment.resident_kb() - resident, 1024);
    }
}

}  // namespace
