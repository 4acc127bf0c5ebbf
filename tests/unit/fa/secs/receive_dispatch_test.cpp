// Device filter, state gate, routing and fallback, and what wakes a waiting sender.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "fa/module/handler_routes.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/message_queue.h"
#include "sim/controller/calls.h"
#include "support/eventually.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr unsigned long not_handled = static_cast<unsigned long>(-5L);

class Dispatch : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        QFA_Message_Queue_Init();
    }
};

// States (on and off are the same in both settings); Comm_New_Version; message; result and reply ("none": not
// handled); states afterwards.
const char* const gate = R"(
Comm_Enable=0 fa:Enable=1 | new | S1F1 W. / S6F12 <B 0>. | =1 | fa:Enable=0
Comm_Enable=1 fa:Enable=0 | old | S1F1 W. | =1 | Comm_Enable=0 || {off} | new | S2F13 W <L>. | S2F0.
{off} | new | S1F3 W <L>. | S1F0. || {off} | old | S1F3 W <L>. | S1F0.
{on} Online_Status=0 | new | S1F3 W <L>. | S1F0. | fa:CtrlMD=0 || {on} Online_Status=0 | old | S1F3 W <L>. | S1F4 <L>.
{on} fa:CtrlMD=0 | old | S1F3 W <L>. | S1F0. | Online_Status=0 || {on} fa:CtrlMD=0 | new | S1F3 W <L>. | S1F4 <L>.
{off} | new | S1F1 W. | S1F2 <L <A "CT-200"> <A "1.0.0">>. || {off} | old | S1F17 W <U1 1>. | S1F18 <B 0x00>.
{off} | new | S1F13 W <L>. | S1F14 <L <B 0x00> <L <A "CT-200"> <A "1.0.0">>>. || {off} | new | S6F12 <B 0>. | =1
{off} | new | S4F1 W. | S4F0. || {on} | new | S4F1 W. / S3F5 W. / S77F33 W. / S1F4 <L>. / S9F0. / S9F7 <B 1>. | unknown
{on} Control_State=4 | new | S2F0. | =1 | fa:CtrlMD=2 Online_Status=1 Control_State=4
{on} Control_State=4 | old | S1F0. | =1 | fa:CtrlMD=0 Online_Status=0 Control_State=4
)";

TEST_F(Dispatch, GateByCommunicationAndControlState) {
    const std::string table = fake::with(gate, "on", "Comm_Enable=1 Online_Status=1 fa:Enable=1 fa:CtrlMD=2");
    const char* const off = "Comm_Enable=1 Online_Status=0 fa:Enable=1 fa:CtrlMD=0";
    for (const fake::Texts& row : fake::rows(fake::with(table, "off", off), 5)) {
        SCOPED_TRACE(row[0] + row[1] + row[2]);
        start_over();
        Comm_New_Version = row[1] == "new";
        set_states(row[0]);
        EXPECT_EQ(answer_to(row[2]), row[3] == "unknown" ? "=" + std::to_string(not_handled) : row[3]);
        expect_states(row[4]);
        EXPECT_TRUE(row[3] != "=1" || report_events().empty());
    }
}

// Message, its device, Comm_Enable; the result; RESPONSEID afterwards, which was 1. REQUESTID is 500.
const char* const arrivals = R"(
S6F12 <B 0>. | 0 | 1 | handled | 7001 || S6F12 <B 0>. | 5 | 1 | other device | 1 || S9F7 <B 0>. | 5 | 1 | not handled | 500
S9F0. | 0 | 1 | not handled | 500 || S1F3 <L>. | 0 | 1 | handled | 7001 || S1F3 W <L>. | 0 | 1 | handled | 1
S6F12 <B 0>. | 0 | 0 | handled | 7001
)";

TEST_F(Dispatch, MessagesThatExpectNoReplyReleaseTheSenderThoseOfAnotherDeviceAreLoggedAndDropped) {
    for (const fake::Texts& row : fake::rows(arrivals, 5)) {
        SCOPED_TRACE(row[0] + row[1] + row[2]);
        fake::driver().reset();
        set_states("Online_Status=1 Comm_Enable=" + row[2]);
        QFA_Set_RequestID(500);
        QFA_Set_ResponseID(1);
        const auto device = static_cast<unsigned short>(std::stoi(row[1]));
        const unsigned long result = fake::driver().host_sends(row[0], 7001, device);
        EXPECT_EQ(result == 0xFFFFFFFFUL, row[3] == "other device");
        EXPECT_EQ(result == not_handled, row[3] == "not handled");
        EXPECT_EQ(std::to_string(QFA_Get_ResponseID()), row[4]);
        EXPECT_FALSE(fake::driver().all_log().empty());
    }
}

class Thrower : public BC_FA {
  public:
    unsigned long reply_S01F01(void*, _SECS_ITEM*, unsigned long) override {
        throw std::range_error("broken");
    }
    _SECS_ITEM* send_S01F01(void*, void*) override { throw std::runtime_error("no body"); }
    unsigned long recv_S06F12(void*, _SECS_ITEM*, unsigned long) override { throw 5; }
};

TEST_F(Dispatch, RuntimeErrorsOfHandlersAndBuildersAreCaughtOthersAreNot) {
    module.reset();
    module = std::make_unique<Thrower>();
    set_states(fake::on_line);
    QFA_Set_ResponseID(1);
    EXPECT_EQ(fake::driver().host_sends("S1F1."), fake::format_error);
    EXPECT_EQ(QFA_Get_ResponseID(), 1U);
    EXPECT_EQ(console.back(), "OnRecvMessageBuffer , MsgID:7000 , S1F1 , 捕捉到异常:broken.");
    EXPECT_EQ(OnSendMessageBuffer(nullptr, 1, 1, nullptr), nullptr);
    EXPECT_EQ(console.back(), "OnSendMessageBuffer , send_S1F1 捕捉到异常:no body.");
    EXPECT_THROW(fake::driver().host_sends("S6F12 <B 0>."), int);
}

// The callback stays in the filter, other callbacks go on, and it ends with its connection.
TEST_F(Dispatch, StreamNinePrimaryOffLineHoldsItsCallbackUntilTheConnectionEnds) {
    set_states("Comm_Enable=1 Online_Status=0");
    const auto sleeps = [] { return sim::calls("QTime_MSleep")->count; };
    const auto before = sleeps();
    std::atomic<bool> returned{false};
    std::thread callback([&] {
        fake::driver().host_sends("S9F7 <B 0>.", 7001);
        returned = true;
    });
    ASSERT_TRUE(support::eventually([&] { return sleeps() > before; })) << "it sleeps there";
    EXPECT_EQ(fake::driver().host_sends("S1F17 W <U1 1>.", 7002), 7002UL);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(fake::driver().host_sends("S1F1 W.", 7003), 7003UL);
    EXPECT_FALSE(returned);
    OnClose(nullptr);
    callback.join();
    EXPECT_TRUE(returned);
}

TEST_F(Dispatch, EveryHandlerOfTheListIsRoutedByItsOwnName) {
    int unsupported = 0;
    int routed = 0;
    for (int stream = 1; stream < 128; ++stream)
        for (int function = 0; function < 256; ++function) {
            fake::driver().reset();
            set_states(fake::on_line);
            const auto s = static_cast<unsigned char>(stream);
            if (Find_Handler(s, static_cast<unsigned char>(function)) != nullptr) ++routed;
            fake::driver().host_sends_bytes(stream, function, true, "", 4711);
            for (const std::string& line : fake::driver().log()) {
                if (line.find("当前版本不支持") == std::string::npos) continue;
                char expected[100];
                std::snprintf(expected, sizeof expected,
                              "Talwen::BC_FA::%s_S%02dF%02d , 当前版本不支持.(Msg_Id:4711)",
                              (function & 1) != 0 ? "reply" : "recv", stream, function);
                EXPECT_EQ(line, expected);
                ++unsupported;
            }
        }
    EXPECT_EQ(routed, 169);
    EXPECT_EQ(unsupported, 132);  // 37 have a body of their own
}

TEST_F(Dispatch, SelectTakesTheLinkOverAndAsksForTheInitialControlState) {
    // Comm_New_Version, states, LinkMD and both switches afterwards, the request.
    const char* const table = R"(
new | Init_CommState=0 Init_ControlState=0 | 2 1 1 | Offline || new | Init_CommState=0 Init_ControlState=1 | 2 1 1 | Local
new | Init_CommState=2 Init_ControlState=2 | 2 1 1 | Remote || new | Init_CommState=1 Init_ControlState=9 | 1 0 0 | Local
old | fa:Enable=1 fa:CtrlMD=2 Init_ControlState=0 | 2 1 1 | Remote || old | fa:Enable=0 fa:CtrlMD=0 | 1 0 0 | Offline
old | fa:Enable=5 fa:CtrlMD=1 | 2 1 1 | Local
)";
    for (const fake::Texts& row : fake::rows(table, 4)) {
        SCOPED_TRACE(row[1]);
        start_over();
        Comm_New_Version = row[0] == "new";
        std::string requests;
        sim::set_journal_sink([&](std::string_view call) {
            if (call.starts_with("QFA_Request_")) requests += call.substr(12, call.find(' ') - 12);
        });
        set_states("Comm_Establish=1 PrnChk=" + std::to_string(Comm_New_Version) + " " + row[1]);
        OnSelect(nullptr);
        EXPECT_EQ(states("fa:LinkMD fa:Enable Comm_Enable"), row[2]);
        expect_states("Comm_Status=1 Comm_Status2=2 Comm_Establish=0");

        set_states("fa:LinkMD=7 Comm_Status=7 Comm_Establish=1");
        OnDeselect(nullptr);
        EXPECT_EQ(states("fa:LinkMD fa:Enable Comm_Enable"), row[2]);
        expect_states("Comm_Status=1 Comm_Status2=1 Comm_Establish=0");
        EXPECT_EQ(requests, row[3]);
        sim::set_journal_sink(nullptr);

        set_states("Comm_Establish=1");
        OnClose(nullptr);
        expect_states("fa:LinkMD=0 Comm_Status=0 Comm_Status2=0 Comm_Establish=0");
        EXPECT_EQ(OnError(nullptr, 105), 0UL);
        fake::Texts printed{"OnClose", "OnError: MsgID:105 Host Reply Timeout."};
        if (Comm_New_Version) printed.insert(printed.begin(), {"OnSelect.", "OnDeselect."});
        EXPECT_EQ(console, printed);
    }
}

}  // namespace
