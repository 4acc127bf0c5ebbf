// A host over TCP takes the equipment from not connected to communicating and on-line remote and back, in
// both settings; fresh processes.
#include <array>
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <thread>

#include "support/equipment_process.h"
#include "support/raw_host.h"

namespace {

using support::EquipmentProcess;
using support::RawHost;

/// Establishes communication and runs the script; fa-host's output when it failed, "" when all was met.
std::string converse(const EquipmentProcess& equipment, const std::string& script) {
    const support::Finished run = support::run_host(
        equipment, "S1F13 W <L>.\nexpect S1F14 <L <B 0> <L <A \"CT-200\"> <A *>>>.\n" + script);
    return run.status == 0 ? "" : run.output;
}

TEST(HostOverTcp, ControlStatesInTheNewerSettings) {
    const struct {
        int init;  // Init_ControlState
        const char* script;
        std::array<int, 4> after;  // CtrlMD, Online_Status, Remote_Status, Control_State
        const char* event;         // the report request that the exchange made last
    } rows[] = {
        {2, "", {2, 1, 1, 4}, "ONLINE_REMOTE"},
        {1, "", {1, 1, 0, 3}, "ONLINE_LOCAL"},
        {0, "", {0, 0, 0, 0}, "EQUIP_OFFLINE"},
        {2, "S1F15 W. expect S1F16 <B 0>.", {0, 0, 1, 2}, "HOST_OFFLINE"},
        {2,
         "S1F15 W. expect S1F16 <B 0>. S1F3 W <L>. expect S1F0. S1F17 W <U1 0>. expect S1F18 <B 0>.",
         {2, 1, 1, 4},
         "ONLINE_REMOTE"},
        {1, "S1F17 W. expect S1F18 <B 2>.", {1, 1, 0, 3}, "ONLINE_LOCAL"},
        {1, "S1F17 W <U1 2>. expect S1F18 <B 0>.", {2, 1, 1, 4}, "ONLINE_REMOTE"},
        {0, "S1F1 W. expect S1F2 <L <A \"CT-200\"> <A *>>.", {2, 1, 1, 0}, "ONLINE_REMOTE"},
    };
    // The equipment keeps to itself (react = false), so that every state below is the exchange's.
    EquipmentProcess equipment(
        {.settings = {},
         .machine = {{"react = true", "react = false"}, {"Online_Init = ", "Online_Init = 1 # "}}});
    for (const auto& [init, script, after, event] : rows) {
        SCOPED_TRACE(std::to_string(init) + " " + script);
        equipment.command("gem Remote_Status = 0");
        equipment.command("gem Init_ControlState = " + std::to_string(init));
        EXPECT_EQ(converse(equipment, script), "");
        EXPECT_EQ(equipment.await("gem Comm_Establish", "= 0"), "= 0");  // the last that OnClose writes
        // OnClose has put the communication states down; the control states stay as the exchange left them.
        const auto n = [&, after = after](std::size_t i) { return std::to_string(after.at(i)); };
        EXPECT_TRUE(equipment.command("status").starts_with(
            "= Enter=1 LinkMD=0 CtrlMD=" + n(0) + " Comm_Enable=1 Comm_Establish=0 Online_Status=" + n(1) +
            " Remote_Status=" + n(2) + " Control_State=" + n(3) + " Reconnect="))
            << equipment.command("status");
        EXPECT_NE(equipment.command(std::string("calls QFA_Report_Event_") + event).substr(0, 3), "= 0");
    }
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostOverTcp, OlderSettingsAndADisabledLink) {
    EquipmentProcess equipment({.settings = {{"LOCAL_IP", "127.0.0.1"},
                                             {"LOCAL_PORT", "0"},
                                             {"REMOTE_PORT", "0"},
                                             {"REMOTE_IP", "127.0.0.1"}},
                                .machine = {{"react = true", "react = false"}}});
    EXPECT_EQ(equipment.command("flag Comm_New_Version"), "= 0");
    EXPECT_EQ(converse(equipment,
                       "S1F17 W <U1 2>. expect S1F18 <B 0>. S1F3 W <L <U4 1002>>. "
                       "expect S1F4 <L <F4 *>>."),
              "");
    EXPECT_EQ(equipment.command("fa Enable = 0"), "= 0");
    EXPECT_EQ(equipment.await("fa LinkMD", "= 1"), "= 1");
    EXPECT_EQ(equipment.command("gem Comm_Enable"), "= 0");
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostOverTcp, DemoConversation) {
    EquipmentProcess equipment;
    const support::Finished run =
        support::run_program({FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()),
                              "--script", FA_DEMO "/online.script"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(equipment.quit(), 0);
}

// The session stands, the equipment establishes communication by itself, and it answers.
TEST(HostOverTcp, FreshProcessesSelectedTheInstantTheirPortAnswers) {
    const int processes = std::getenv("FA_SOAK") != nullptr ? 1000 : 24;
    std::atomic<int> next{0};
    const auto work = [&] {
        while (next++ < processes) {
            EquipmentProcess equipment;
            RawHost host(equipment.port());
            EXPECT_EQ(host.select(), 0);
            const auto own = host.receive();
            EXPECT_TRUE(own && own->stream() == 1 && own->function() == 13);
            host.send(support::data(1, 1, 900));
            const auto reply = host.reply_to(900);
            EXPECT_TRUE(reply && reply->function() == 2);
        }
    };
    std::vector<std::jthread> workers;
    for (int i = 0; i < 8; ++i) workers.emplace_back(work);
}

}  // namespace
