// The module with its real driver is started and stopped again and again, also in the middle of things.
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/message_queue.h"
#include "hsms/driver/driver_config.h"
#include "sim/controller/clock.h"
#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/file_layer.h"
#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"
#include "support/equipment_process.h"
#include "support/eventually.h"
#include "support/raw_host.h"
#include "support/sml_host.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

bool await(const std::function<bool()>& condition, std::chrono::milliseconds limit = 20s) {
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

int entries(const char* folder) {
    int n = 0;
    for (const auto& entry : fs::directory_iterator(folder)) n += entry.path().empty() ? 0 : 1;
    return n;
}

long resident_kb() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long kb = 0;
        if (word == "VmRSS:" && status >> kb) return kb;
    }
    return 0;
}

/// A small machine with a passive link (an active one to `active_port`, when that is given).
class Life : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::set_console_sink([](const sim::ConsoleLine&) {});
        sim::set_sleep_scale(0.01);
    }
    void TearDown() override {
        stop();
        sim::set_console_sink(nullptr);
        sim::set_sleep_scale(1);
        sim::machine().reset();
    }

    void write_machine(std::uint16_t active_port = 0) {
        folder_.put("Z/FA/FA_SAVE.inf", "COMM_IP 127.0.0.1\nCOMM_PORT " + std::to_string(active_port) +
                                            "\nT0_PRM 60\nT3_PRM 5\nT5_PRM 1\nT6_PRM 1\nT7_PRM 2\nT8_PRM 1\n"
                                            "DEVICE_ID 0\nCOMM_TRY " +
                                            (active_port == 0 ? "PASSIVE" : "ACTIVE") +
                                            "\nCOMM_CTRL REMOTE\nLINK_TEST DISABLE\nCOMM_ENABLE ENABLE\n"
                                            "COMM_METHOD HSMS\n");
        sim::set_data_folder(folder_.path());
        sim::machine().load_text("[gem]\nInit_ControlState = 2\nOnline_Init = 1\n");
    }

    void start() {
        module_.emplace();
        runner_ = std::make_unique<sim::ModuleRunner>(*module_);
        runner_->start();
    }
    void stop() {
        runner_.reset();
        module_.reset();
    }
    static bool listening() {
        return await([] { return hsms::link_status().state == "listening"; });
    }
    static std::uint16_t port() { return hsms::link_status().port; }
    /// Puts so many S1F1 into the queue; the builder needs no tables.
    static void queue(int count) {
        for (int i = 0; i < count; ++i)
            Talwen::QFA_Message_PushBack(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    }

    support::TempFolder folder_;
    std::optional<Talwen::BC_FA> module_;
    std::unique_ptr<sim::ModuleRunner> runner_;
};

TEST_F(Life, StartsAndStops500TimesAndLeavesNothingBehind) {
    write_machine();
    int descriptors = 0;
    int threads = 0;
    long resident = 0;
    for (int round = 1; round <= 500; ++round) {
        start();
        ASSERT_TRUE(listening()) << round;
        if (round % 10 == 0) {
            support::RawHost host(port());
            ASSERT_EQ(host.select(), 0) << round;
        }
        stop();
        ASSERT_EQ(hsms::link_status().state, "stopped");
        if (round == 50) {
            descriptors = entries("/proc/self/fd");
            threads = entries("/proc/self/task");
            resident = resident_kb();
        }
    }
    EXPECT_TRUE(support::eventually([&] { return entries("/proc/self/fd") <= descriptors; })) << descriptors;
    EXPECT_TRUE(support::eventually([&] { return entries("/proc/self/task") <= threads; })) << threads;
    if (!support::sanitized) {
        EXPECT_LE(resident_kb() - resident, 2048);
    }
}

TEST_F(Life, DestructionRightAfterConstruction) {
    write_machine();
    for (int i = 0; i < 1000; ++i) {
        Talwen::BC_FA module;
        Talwen::BC_FA copy(module);
    }
    start();
    EXPECT_TRUE(listening());
}

/// What the module is in the middle of when it is stopped, or told to reconnect.
struct Middle {
    const char* name;
    bool active;
    /// Brings the module there; false when it does not get there.
    bool (*begin)(support::RawHost* host);
};

bool is_waiting_for_a_reply(support::RawHost* host) {
    if (host->select() != 0) return false;
    // Its first primary is taken and never answered.
    while (const auto message = host->receive())
        if (message->s_type() == 0 && message->wbit()) return true;
    return false;
}

const Middle middles[] = {
    {"listening", false, [](support::RawHost*) { return true; }},
    {"connected, not selected", false,
     [](support::RawHost*) { return await([] { return hsms::link_status().state == "connected"; }); }},
    {"waiting for a reply", false, is_waiting_for_a_reply},
    {"sending", false,
     [](support::RawHost* host) {
         if (!is_waiting_for_a_reply(host)) return false;
         for (int i = 0; i < 10000; ++i)
             Talwen::QFA_Message_PushBack(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr);
         return true;
     }},
    {"flooded by the host", false,
     [](support::RawHost* host) {
         if (host->select() != 0) return false;
         std::string flood;
         for (unsigned i = 0; i < 2000; ++i) flood += support::data(1, 13, 1000 + i, {"\x01\x00", 2});
         return host->send(flood);
     }},
    {"connecting", true, [](support::RawHost*) { return true; }},
};

class LifeInTheMiddle : public Life {
  protected:
    void begin(const Middle& middle) {
        write_machine(middle.active ? 9 : 0);  // the discard port of loopback: nobody is there
        start();
        if (middle.active) {
            ASSERT_TRUE(await([] { return hsms::link_status().state == "connecting"; }));
        } else {
            ASSERT_TRUE(listening());
        }
        if (!middle.active && std::string(middle.name) != "listening") host_.emplace(port());
        ASSERT_TRUE(middle.begin(host_ ? &*host_ : nullptr));
    }

    std::optional<support::RawHost> host_;
};

TEST_F(LifeInTheMiddle, AStopEndsIt) {
    for (const Middle& middle : middles) {
        SCOPED_TRACE(middle.name);
        begin(middle);
        const auto start = Clock::now();
        stop();
        EXPECT_LT(Clock::now() - start, 5s) << "T7 and three seconds";  // T7 is 2 s
        EXPECT_EQ(hsms::link_status().state, "stopped");
        host_.reset();
    }
}

TEST_F(LifeInTheMiddle, AReconnectMakesANewLink) {
    for (const Middle& middle : middles) {
        SCOPED_TRACE(middle.name);
        begin(middle);
        sim::post_event_and_wait("REQUEST_RECONNECT");
        host_.reset();  // with a full queue the request is looked at once the link is down
        EXPECT_TRUE(await([] { return !Talwen::Reconnect; })) << "the request was taken";
        if (!middle.active) {
            ASSERT_TRUE(listening());
            const support::SmlHost next(port());
        }
        stop();
    }
}

}  // namespace
