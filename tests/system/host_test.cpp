// A host over TCP takes the equipment from not connected to communicating and on-line remote and back: the
// rows of stream 1 that the state gate lets through, in both settings; active mode; fresh processes; reply
// before teardown.
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <gtest/gtest.h>

#include "support/equipment_process.h"
#include "support/raw_host.h"

namespace {

using support::data;
using support::EquipmentOptions;
using support::EquipmentProcess;
using support::RawHost;

/// Runs fa-host with a script against the equipment; its output when it failed, "" when all was met.
std::string converse(const EquipmentProcess& equipment, const std::string& script) {
    const support::TempFolder folder;
    const std::string path = folder.put("conversation.script", script).string();
    const support::Finished run = support::run_program(
        {FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()), "--script", path});
    return run.status == 0 ? "" : run.output;
}

std::string states(EquipmentProcess& equipment) {
    const std::string status = equipment.command("status");
    const std::size_t from = status.find("LinkMD=");
    const std::size_t to = status.find(" Reconnect=");
    return from == std::string::npos || to == std::string::npos ? status : status.substr(from, to - from);
}

struct Row {
    const char* name;
    const char* before;  // states set first, "gem X = 1; fa Y = 2"
    const char* script;
    const char* after;  // of the status command
    const char* event;  // the report request that the exchange made last
};

constexpr const char* greet = "S1F13 W <L>.\nexpect S1F14 <L <B 0> <L <A \"CT-200\"> <A *>>>.\n";

const Row rows[] = {
    {"S1F13 remote", "gem Init_ControlState = 2", "",
     "LinkMD=3 CtrlMD=2 Comm_Enable=1 Comm_Establish=1 "
     "Online_Status=1 Remote_Status=1 Control_State=4",
     "ONLINE_REMOTE"},
    {"S1F13 local", "gem Init_ControlState = 1", "",
     "LinkMD=3 CtrlMD=1 Comm_Enable=1 Comm_Establish=1 "
     "Online_Status=1 Remote_Status=0 Control_State=3",
     "ONLINE_LOCAL"},
    {"S1F13 off-line", "gem Init_ControlState = 0", "",
     "LinkMD=3 CtrlMD=0 Comm_Enable=1 Comm_Establish=1 "
     "Online_Status=0 Remote_Status=0 Control_State=0",
     "EQUIP_OFFLINE"},
    {"S1F15", "gem Init_ControlState = 2", "S1F15 W.\nexpect S1F16 <B 0>.\n",
     "LinkMD=3 CtrlMD=0 Comm_Enable=1 Comm_Establish=1 Online_Status=0 Remote_Status=1 Control_State=2",
     "HOST_OFFLINE"},
    {"S1F17 after S1F15", "gem Init_ControlState = 2",
     "S1F15 W.\nexpect S1F16 <B 0>.\nS1F3 W <L>.\nexpect S1F0.\nS1F17 W <U1 0>.\nexpect S1F18 <B 0>.\n",
     "LinkMD=3 CtrlMD=2 Comm_Enable=1 Comm_Establish=1 Online_Status=1 Remote_Status=1 Control_State=4",
     "ONLINE_REMOTE"},
    {"S1F17 already", "gem Init_ControlState = 1", "S1F17 W.\nexpect S1F18 <B 2>.\n",
     "LinkMD=3 CtrlMD=1 Comm_Enable=1 Comm_Establish=1 Online_Status=1 Remote_Status=0 Control_State=3",
     "ONLINE_LOCAL"},
    {"S1F17 2", "gem Init_ControlState = 1", "S1F17 W <U1 2>.\nexpect S1F18 <B 0>.\n",
     "LinkMD=3 CtrlMD=2 Comm_Enable=1 Comm_Establish=1 Online_Status=1 Remote_Status=1 Control_State=4",
     "ONLINE_REMOTE"},
    {"S1F1", "gem Init_ControlState = 0", "S1F1 W.\nexpect S1F2 <L <A \"CT-200\"> <A *>>.\n",
     "LinkMD=3 CtrlMD=2 Comm_Enable=1 Comm_Establish=1 Online_Status=1 Remote_Status=1 Control_State=0",
     "ONLINE_REMOTE"},
};

TEST(HostOverTcp, ControlStatesInTheNewerSettings) {
    // The equipment keeps to itself (react = false), so that every state below is the exchange's.
    EquipmentProcess equipment(
        {.settings = {},
         .machine = {{"react = true", "react = false"}, {"Online_Init = ", "Online_Init = 1 # "}}});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(equipment.command("gem Remote_Status = 0").substr(0, 1), "=");
        ASSERT_EQ(equipment.command(row.before).substr(0, 1), "=");
        EXPECT_EQ(converse(equipment, std::string(greet) + row.script), "");
        EXPECT_EQ(equipment.await("gem Comm_Establish", "= 0"), "= 0");  // the last that OnClose writes
        // OnClose has put the communication states down; the control states stay as the exchange left them.
        std::string expected = row.after;
        expected.replace(expected.find("LinkMD=3"), 8, "LinkMD=0");
        expected.replace(expected.find("Comm_Establish=1"), 16, "Comm_Establish=0");
        EXPECT_EQ(states(equipment), expected);
        EXPECT_NE(equipment.command(std::string("calls QFA_Report_Event_") + row.event).substr(0, 3), "= 0");
    }
    EXPECT_EQ(equipment.quit(), 0);
}

TEST(HostOverTcp, OlderSettingsAndADisabledLink) {
    const EquipmentOptions older{.settings = {{"LOCAL_IP", "127.0.0.1"},
                                              {"LOCAL_PORT", "0"},
                                              {"REMOTE_PORT", "0"},
                                              {"REMOTE_IP", "127.0.0.1"}},
                                 .machine = {{"react = true", "react = false"}}};
    EquipmentProcess equipment(older);
    EXPECT_EQ(equipment.command("flag Comm_New_Version"), "= 0");
    EXPECT_EQ(converse(equipment, std::string(greet) +
                                      "S1F17 W <U1 2>.\nexpect S1F18 <B 0>.\nS1F3 W <L <U4 1002>>.\n"
                                      "expect S1F4 <L <F4 *>>.\n"),
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
                              "--script", std::string(FA_DEMO) + "/online.script"});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(equipment.quit(), 0);
}

// The reply and the teardown come from two threads; the reply still leaves the socket.
TEST(HostOverTcp, ReplySentJustBeforeTheTeardownArrives) {
    EquipmentProcess equipment;
    for (int round = 0; round < 30; ++round) {
        RawHost host(equipment.port());
        ASSERT_EQ(host.select(), 0);
        ASSERT_TRUE(host.send(data(1, 1, 500)));
        const auto reply = host.reply_to(500);
        ASSERT_TRUE(reply && reply->function() == 2);
        // From here on the equipment tears down as soon as its monitor looks; requests keep coming meanwhile.
        std::uint32_t sent = 500;
        std::uint32_t answered = 500;
        ASSERT_EQ(equipment.command("event REQUEST_RECONNECT"), "= ok");
        for (int i = 0; i < 50 && host.send(data(1, 1, sent + 1)); ++i) ++sent;
        while (const auto message = host.receive_answering())
            if (message->s_type() == 0 && message->function() == 2) ++answered;
        EXPECT_FALSE(host.timed_out());
        EXPECT_LE(answered, sent);
        const std::string listening = "= listening " + std::to_string(equipment.port()) + " -";
        EXPECT_EQ(equipment.await("link", listening), listening);
    }
    EXPECT_EQ(equipment.quit(), 0);
}

/// A host that listens, for an equipment in active mode.
class ListeningHost {
  public:
    ListeningHost() : acceptor_(io_, {asio::ip::address_v4::loopback(), 0}) {}
    std::uint16_t port() { return acceptor_.local_endpoint().port(); }
    /// Takes the next connection and reads `bytes` bytes of it.
    std::string accept(asio::ip::tcp::socket& socket, std::size_t bytes) {
        acceptor_.accept(socket);
        std::string text(bytes, '\0');
        asio::read(socket, asio::buffer(text));
        return text;
    }
    asio::io_context io_;

  private:
    asio::ip::tcp::acceptor acceptor_;
};

TEST(HostOverTcp, ActiveEquipmentConnectsRetriesAndRecovers) {
    ListeningHost host;
    const std::string select_header = support::frame(0xFFFF, 0, 0, 0, 1, 0).substr(0, 10);
    EquipmentProcess equipment({.settings = {{"COMM_TRY", "ACTIVE"},
                                             {"COMM_CTRL", "REMOTE"},
                                             {"COMM_PORT", std::to_string(host.port())},
                                             {"T5_PRM", "1"},
                                             {"T6_PRM", "1"}},
                                .machine = {}});
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        asio::ip::tcp::socket socket(host.io_);
        const std::string request = host.accept(socket, 14);
        EXPECT_EQ(request.substr(0, 10), select_header);
        if (round == 0) continue;  // gone at once, in the middle of the select
        std::string answer = support::frame(0xFFFF, 0, 0, 0, 2, 0);
        answer.replace(10, 4, request.substr(10));
        if (round == 1) {  // gone in the middle of its answer
            asio::write(socket, asio::buffer(answer.substr(0, 9)));
            continue;
        }
        asio::write(socket, asio::buffer(answer));
        // Selected: its S1F13 comes; in round 2 the host goes away in the middle of it.
        std::string header(14, '\0');
        asio::read(socket, asio::buffer(header));
        // In round 3 the S2F17 that stood behind it may not have been dropped yet.
        const std::string first = header.substr(4, 4);
        EXPECT_TRUE(first == std::string("\x00\x00\x81\x0D", 4) ||
                    (round == 3 && first == std::string("\x00\x00\x82\x11", 4)));
        if (round == 2) socket.set_option(asio::socket_base::linger(true, 0));
    }
    EXPECT_EQ(equipment.quit(), 0);
}

/// One fresh equipment, selected the instant its port answers: the session stands, the equipment establishes
/// communication by itself, and it answers.
std::string fresh_session() {
    EquipmentProcess equipment;
    RawHost host(equipment.port());
    if (host.select() != 0) return "not selected";
    const auto own = host.receive();
    if (!own || own->stream() != 1 || own->function() != 13) return "no S1F13 of its own";
    host.send(data(1, 1, 900));
    const auto reply = host.reply_to(900);
    if (!reply || reply->function() != 2) return "S1F1 not answered";
    return "";
}

TEST(HostOverTcp, FreshProcessesSelectedTheInstantTheirPortAnswers) {
    const int processes = std::getenv("FA_SOAK") != nullptr ? 1000 : 24;
    std::atomic<int> next{0};
    std::vector<std::future<std::string>> workers;
    for (int w = 0; w < 8; ++w)
        workers.push_back(std::async(std::launch::async, [&] {
            std::string failures;
            while (next++ < processes) failures += fresh_session();
            return failures;
        }));
    for (auto& worker : workers) EXPECT_EQ(worker.get(), "");
}

}  // namespace
