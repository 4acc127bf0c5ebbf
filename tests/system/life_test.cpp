// Beginnings and ends: the module in this process, started and stopped in the middle of things; the
// equipment's process, ended when it is not asked; full disks.
#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <thread>

#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "fa/secs/primaries.h"
#include "hsms/driver/driver_config.h"
#include "sim/controller/clock.h"
#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/file_layer.h"
#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"
#include "support/equipment_process.h"
#include "support/host.h"

namespace {

namespace fs = std::filesystem;
using support::CommunicatingHost;
using support::EquipmentProcess;
using support::Host;
using namespace std::chrono_literals;

bool link_is(std::string_view state) {
    return support::eventually([&] { return hsms::link_status().state == state; });
}

/// A small machine with a passive link (an active one to `active_port`, when that is given).
class ModuleLife : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::set_console_sink([](const sim::ConsoleLine&) {});
        sim::set_sleep_scale(0.01);
        sim::set_data_folder(folder_.path());
    }
    void TearDown() override {
        stop();
        sim::set_console_sink(nullptr);
        sim::set_sleep_scale(1);
        sim::machine().reset();
    }

    void start(std::uint16_t active_port = 0) {
        folder_.put("Z/FA/FA_SAVE.inf",
                    "COMM_IP 127.0.0.1\nT0_PRM 60\nT3_PRM 5\nT5_PRM 1\nT6_PRM 1\nT7_PRM 2\nT8_PRM 1\n"
                    "DEVICE_ID 0\nCOMM_CTRL REMOTE\nLINK_TEST DISABLE\nCOMM_ENABLE ENABLE\nCOMM_METHOD HSMS\n"
                    "COMM_PORT " +
                        std::to_string(active_port) + "\nCOMM_TRY " +
                        (active_port == 0 ? "PASSIVE\n" : "ACTIVE\n"));
        sim::machine().load_text("[gem]\nInit_ControlState = 2\nOnline_Init = 1\n");
        module_.emplace();
        runner_ = std::make_unique<sim::ModuleRunner>(*module_);
        runner_->start();
        ASSERT_TRUE(link_is(active_port == 0 ? "listening" : "connecting"));
    }
    void stop() {
        runner_.reset();
        module_.reset();
        EXPECT_EQ(hsms::link_status().state, "stopped");
    }
    static std::uint16_t port() { return hsms::link_status().port; }

    support::TempFolder folder_;
    std::optional<Talwen::BC_FA> module_;
    std::unique_ptr<sim::ModuleRunner> runner_;
};

TEST_F(ModuleLife, StartsAndStops500TimesAndLeavesNothingBehind) {
    std::optional<support::Footprint> early;
    for (int round = 1; round <= 500; ++round) {
        ASSERT_NO_FATAL_FAILURE(start());
        if (round % 10 == 0) {
            ASSERT_EQ(Host(port()).select(), 0) << round;
        }
        stop();
        if (round == 50) early.emplace("self");
    }
    EXPECT_EQ(early->growth(2048), "");
}

TEST_F(ModuleLife, DestructionRightAfterConstruction) {
    for (int i = 0; i < 1000; ++i) {
        Talwen::BC_FA module;
        Talwen::BC_FA copy(module);
    }
    start();
}

/// What the module is in the middle of when it is stopped or has to reconnect.
struct Middle {
    const char* name;
    std::uint16_t active_port;
    /// Brings the module there; false when it does not get there.
    bool (*begin)(Host& host);
};

/// Its first primary is taken and never answered.
bool waits_for_a_reply(Host& host) {
    if (host.select() != 0) return false;
    while (const auto message = host.receive())
        if (message->header.wbit()) return true;
    return false;
}

bool sends(Host& host) {
    if (!waits_for_a_reply(host)) return false;
    for (int i = 0; i < 10000; ++i)  // the builder of S1F1 needs no tables
        Talwen::QFA_Message_PushBack(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    return true;
}

bool floods(Host& host) {
    if (host.select() != 0) return false;
    std::string flood;
    for (unsigned i = 0; i < 2000; ++i) flood += support::data(1, 13, 1000 + i, {"\x01\x00", 2});
    return host.send(flood);
}

const Middle middles[] = {
    {"listening", 0, nullptr},
    {"connected, not selected", 0, [](Host&) { return link_is("connected"); }},
    {"waiting for a reply", 0, waits_for_a_reply},
    {"sending", 0, sends},
    {"flooded by the host", 0, floods},
    {"connecting", 9, nullptr},  // the discard port of loopback, where nothing listens
};

class LifeInTheMiddle : public ModuleLife {
  protected:
    void begin(const Middle& middle) {
        ASSERT_NO_FATAL_FAILURE(start(middle.active_port));
        if (middle.begin == nullptr) return;
        host_.emplace(port());
        ASSERT_TRUE(middle.begin(*host_));
    }

    std::optional<Host> host_;
};

TEST_F(LifeInTheMiddle, AStopEndsIt) {
    for (const Middle& middle : middles) {
        SCOPED_TRACE(middle.name);
        ASSERT_NO_FATAL_FAILURE(begin(middle));
        const auto start = std::chrono::steady_clock::now();
        stop();
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << "T7 and three seconds";  // T7 is 2 s
        host_.reset();
    }
}

TEST_F(LifeInTheMiddle, AReconnectMakesANewLink) {
    for (const Middle& middle : middles) {
        SCOPED_TRACE(middle.name);
        ASSERT_NO_FATAL_FAILURE(begin(middle));
        sim::post_event_and_wait("REQUEST_RECONNECT");
        host_.reset();  // with a full queue the request is looked at once the link is down
        EXPECT_TRUE(support::eventually([] { return !Talwen::Reconnect; })) << "the request was taken";
        if (middle.active_port == 0) {
            ASSERT_TRUE(link_is("listening"));
            const CommunicatingHost next(port());
        }
        stop();
    }
}

/// A data folder for several processes in turn.
struct DataFolder : support::TempFolder {
    DataFolder() { support::make_data_folder(*this); }
};

const char* const s1f2 = "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.";

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
    EXPECT_EQ(CommunicatingHost(first.port()).ask("S1F1 W."), s1f2);
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
        CommunicatingHost host(equipment.port());
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

// Nothing can be written: the messages still flow, and a save that failed stops nothing.
TEST(EquipmentLife, AFullDiskDoesNotStopTheLink) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    const DataFolder data;
    fs::create_directories(data.path() / "log");
    for (const char* log : {"log/online.log", "log/system.log"})
        fs::create_symlink("/dev/full", data.path() / log);
    EquipmentProcess equipment(data.path());
    CommunicatingHost host(equipment.port());
    for (int i = 0; i < 200; ++i) ASSERT_EQ(host.ask("S1F1 W."), s1f2);
    // The folder of the saved files becomes a file: nothing can be made in it any more.
    fs::rename(data.path() / "Z/FA", data.path() / "Z/FA.away");
    data.put("Z/FA", "in the way");
    EXPECT_EQ(host.ask("S2F43 W <L <L <U1 6> <L <U1 11>>>>."), "S2F44 <L <B 0x00> <L>>.");
    EXPECT_EQ(host.ask("S1F1 W."), s1f2);
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(EquipmentLife, FiveHundredReconnectsLeaveNothingBehind) {
    EquipmentProcess equipment({.settings = {{"T7_PRM", "1"}}, .machine = {}});
    // Or what a host leaves unread would be kept for the next one.
    EXPECT_EQ(CommunicatingHost(equipment.port()).ask("S2F43 W <L>."), "S2F44 <L <B 0x00> <L>>.");
    std::optional<support::Footprint> early;
    for (int i = 1; i <= 500; ++i) {
        CommunicatingHost host(equipment.port());
        const auto took_everything = [&] {
            host.ask("S1F3 W <L <U4 1002>>.");
            return equipment.command("status").ends_with(" Queue=0");
        };
        ASSERT_TRUE(i % 75 == 1 || support::eventually(took_everything)) << i;  // or leaves in the middle
        host.close(i % 2 == 0);
        ASSERT_TRUE(equipment.awaits_host());
        if (i == 5) early = equipment.footprint();
    }
    EXPECT_EQ(early->growth(1024), "");
}

}  // namespace
