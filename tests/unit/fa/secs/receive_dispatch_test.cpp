// Device filter, state gate, routing and fallback, and what wakes a waiting sender.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "fa/secs/dispatch.h"
#include "fa/secs/message_queue.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr unsigned long not_handled = static_cast<unsigned long>(-5L);
constexpr unsigned long failed = static_cast<unsigned long>(-7L);

class Dispatch : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        QFA_Message_Queue_Init();
    }
    /// Sends and tells whether RESPONSEID was set to the message's id (or REQUESTID for stream 9).
    bool releases_sender(const std::string& message) {
        QFA_Set_RequestID(500);
        QFA_Set_ResponseID(1);
        fake::driver().host_sends(message, 7001);
        const bool stream9 = message.starts_with("S9");
        return QFA_Get_ResponseID() == (stream9 ? 500U : 7001U);
    }
};

struct GateCase {
    const char* states;
    bool new_version;
    const char* message;
    unsigned long result;
    const char* reply;
    const char* follows;  // a state that the gate itself writes, "" for none
};

TEST_F(Dispatch, GateByCommunicationAndControlState) {
    const char* const on = "Comm_Enable=1 Online_Status=1 fa:Enable=1 fa:CtrlMD=2";
    const char* const off = "Comm_Enable=1 Online_Status=0 fa:Enable=1 fa:CtrlMD=0";
    const char* const mixed_gem_off = "Comm_Enable=1 Online_Status=0 fa:Enable=1 fa:CtrlMD=2";
    const char* const mixed_fa_off = "Comm_Enable=1 Online_Status=1 fa:Enable=1 fa:CtrlMD=0";
    const GateCase cases[] = {
        {"Comm_Enable=0 fa:Enable=1", true, "S1F1 W.", 1, "", "fa:Enable=0"},
        {"Comm_Enable=1 fa:Enable=0", false, "S1F1 W.", 1, "", "Comm_Enable=0"},
        {"Comm_Enable=0 fa:Enable=1", true, "S6F12 <B 0>.", 1, "", "fa:Enable=0"},
        {off, true, "S2F13 W <L>.", 7000, "S2F0.", ""},
        {off, true, "S1F3 W <L>.", 7000, "S1F0.", ""},
        {off, false, "S1F3 W <L>.", 7000, "S1F0.", ""},
        {mixed_gem_off, true, "S1F3 W <L>.", 7000, "S1F0.", "fa:CtrlMD=0"},
        {mixed_gem_off, false, "S1F3 W <L>.", 7000, "S1F4 <L>.", ""},
        {mixed_fa_off, false, "S1F3 W <L>.", 7000, "S1F0.", "Online_Status=0"},
        {mixed_fa_off, true, "S1F3 W <L>.", 7000, "S1F4 <L>.", ""},
        {off, true, "S1F1 W.", 7000, "S1F2 <L <A \"CT-200\"> <A \"1.0.0\">>.", ""},
        {off, false, "S1F17 W <U1 1>.", 7000, "S1F18 <B 0x00>.", ""},
        {off, true, "S1F13 W <L>.", 7000, "S1F14 <L <B 0x00> <L <A \"CT-200\"> <A \"1.0.0\">>>.", ""},
        {off, true, "S6F12 <B 0>.", 1, "", ""},
        {off, true, "S4F1 W.", 7000, "S4F0.", ""},
        {on, true, "S4F1 W.", not_handled, "", ""},
        {on, true, "S3F5 W.", not_handled, "", ""},
        {on, true, "S77F33 W.", not_handled, "", ""},
        {on, true, "S1F4 <L>.", not_handled, "", ""},
        {on, true, "S9F0.", not_handled, "", ""},
        {on, true, "S9F7 <B 1>.", not_handled, "", ""},
        {on, true, "S2F0.", 1, "", ""},
    };
    for (const GateCase& c : cases) {
        SCOPED_TRACE(std::string(c.message) + " in " + c.states + (c.new_version ? " new" : " old"));
        start_over();
        Comm_New_Version = c.new_version;
        set_states(c.states);
        EXPECT_EQ(fake::driver().host_sends(c.message), c.result);
        EXPECT_EQ(fake::driver().replies(), c.reply);
        const std::string follows = c.follows;
        if (follows.starts_with("fa:")) {
            EXPECT_EQ(fa(follows.substr(3, follows.find('=') - 3)), 0);
        } else if (!follows.empty()) {
            EXPECT_EQ(gem(follows.substr(0, follows.find('='))), 0);
        }
    }
}

TEST_F(Dispatch, HostAbortOfStream1TakesTheEquipmentOffLine) {
    set_states("Comm_Enable=1 Online_Status=1 fa:CtrlMD=2 Control_State=4");
    EXPECT_EQ(fake::driver().host_sends("S2F0."), 1UL);
    EXPECT_EQ(fa("CtrlMD"), 2);
    EXPECT_EQ(fake::driver().host_sends("S1F0."), 1UL);
    EXPECT_EQ(fa("CtrlMD"), 0);
    EXPECT_EQ(gem("Online_Status"), 0);
    EXPECT_EQ(gem("Control_State"), 4);
    EXPECT_EQ(report_events(), "");
}

TEST_F(Dispatch, AnotherDevicesMessageIsLoggedAndDropped) {
    set_states("Comm_Enable=1 Online_Status=1");
    QFA_Set_ResponseID(1);
    EXPECT_EQ(fake::driver().host_sends("S6F12 <B 0>.", 7001, 5), 0xFFFFFFFFUL);
    EXPECT_EQ(QFA_Get_ResponseID(), 1U);
    EXPECT_EQ(fake::driver().all_log().size(), 1U);
    EXPECT_EQ(fake::driver().host_sends("S9F7 <B 0>.", 7001, 5), not_handled);  // stream 9 passes
}

TEST_F(Dispatch, OnlyMessagesThatExpectNoReplyReleaseTheSender) {
    set_states("Comm_Enable=1 Online_Status=1");
    EXPECT_TRUE(releases_sender("S6F12 <B 0>."));
    EXPECT_TRUE(releases_sender("S9F7 <B 0>."));
    EXPECT_TRUE(releases_sender("S9F0."));
    EXPECT_TRUE(releases_sender("S1F3 <L>."));  // a primary without W-bit
    EXPECT_FALSE(releases_sender("S1F3 W <L>."));
    set_states("Comm_Enable=0");
    EXPECT_TRUE(releases_sender("S6F12 <B 0>."));  // dropped, but the wait ends
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
    set_states("Comm_Enable=1 Online_Status=1");
    QFA_Set_ResponseID(1);
    EXPECT_EQ(fake::driver().host_sends("S1F1."), failed);
    EXPECT_EQ(QFA_Get_ResponseID(), 1U);
    EXPECT_EQ(console.back(), "OnRecvMessageBuffer , MsgID:7000 , S1F1 , 捕捉到异常:broken.");
    EXPECT_EQ(OnSendMessageBuffer(nullptr, 1, 1, nullptr), nullptr);
    EXPECT_EQ(console.back(), "OnSendMessageBuffer , send_S1F1 捕捉到异常:no body.");
    EXPECT_THROW(fake::driver().host_sends("S6F12 <B 0>."), int);
}

// The callback stays in the filter, other callbacks go on, and it ends with its connection.
TEST_F(Dispatch, StreamNinePrimaryOffLineHoldsItsCallbackUntilTheConnectionEnds) {
    set_states("Comm_Enable=1 Online_Status=0");
    std::atomic<bool> returned{false};
    std::thread callback([&] {
        fake::driver().host_sends("S9F7 <B 0>.", 7001);
        returned = true;
    });
    EXPECT_EQ(fake::driver().host_sends("S1F17 W <U1 1>.", 7002), 7002UL);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(fake::driver().host_sends("S1F1 W.", 7003), 7003UL);
        EXPECT_FALSE(returned);
    }
    OnClose(nullptr);
    callback.join();
    EXPECT_TRUE(returned);
}

TEST_F(Dispatch, EveryHandlerOfTheListIsRoutedByItsOwnName) {
    set_states("Comm_Enable=1 Online_Status=1");
    int unsupported = 0;
    int routed = 0;
    for (int stream = 1; stream < 128; ++stream) {
        for (int function = 0; function < 256; ++function) {
            fake::driver().reset();
            set_states("Comm_Enable=1 Online_Status=1");
            if (Find_Handler(static_cast<unsigned char>(stream), static_cast<unsigned char>(function)) !=
                nullptr)
                ++routed;
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
    }
    EXPECT_EQ(routed, 169);
    EXPECT_EQ(unsupported, 132);  // 37 have a body of their own
}

struct LinkCase {
    bool new_version;
    const char* states;
    int link_after, enable_after;
    const char* request;
};

TEST_F(Dispatch, SelectTakesTheLinkOverAndAsksForTheInitialControlState) {
    const LinkCase cases[] = {
        {true, "Init_CommState=0 Init_ControlState=0", 2, 1, "QFA_Request_Offline"},
        {true, "Init_CommState=0 Init_ControlState=1", 2, 1, "QFA_Request_Local"},
        {true, "Init_CommState=2 Init_ControlState=2", 2, 1, "QFA_Request_Remote"},
        {true, "Init_CommState=1 Init_ControlState=9", 1, 0, "QFA_Request_Local"},
        {false, "fa:Enable=1 fa:CtrlMD=2 Init_ControlState=0", 2, 1, "QFA_Request_Remote"},
        {false, "fa:Enable=0 fa:CtrlMD=0", 1, 0, "QFA_Request_Offline"},
        {false, "fa:Enable=5 fa:CtrlMD=1", 2, 1, "QFA_Request_Local"},
    };
    for (const LinkCase& c : cases) {
        SCOPED_TRACE(c.states);
        start_over();
        Comm_New_Version = c.new_version;
        set_states(std::string("Comm_Establish=1 ") + c.states);
        OnSelect(nullptr);
        EXPECT_EQ(fa("LinkMD"), c.link_after);
        EXPECT_EQ(fa("Enable"), c.enable_after);
        EXPECT_EQ(gem("Comm_Enable"), c.enable_after);
        EXPECT_EQ(gem("Comm_Status"), 1);
        EXPECT_EQ(gem("Comm_Status2"), 2);
        EXPECT_EQ(gem("Comm_Establish"), 0);
        EXPECT_EQ(calls("QFA_Request_Offline") + calls("QFA_Request_Local") + calls("QFA_Request_Remote"),
                  1U);
        EXPECT_EQ(calls(c.request), 1U);

        sim::machine().set_gem("Comm_Establish", 1);
        OnDeselect(nullptr);
        EXPECT_EQ(fa("LinkMD"), c.link_after);
        EXPECT_EQ(gem("Comm_Status2"), 1);
        EXPECT_EQ(gem("Comm_Establish"), 0);
        EXPECT_EQ(calls(c.request), 1U);
        EXPECT_TRUE(console.empty());

        OnClose(nullptr);
        EXPECT_EQ(fa("LinkMD") + gem("Comm_Status") + gem("Comm_Status2"), 0);
        EXPECT_EQ(console, std::vector<std::string>{"OnClose"});
        EXPECT_EQ(OnError(nullptr, 105), 0UL);
        EXPECT_EQ(console.back(), "OnError: MsgID:105 Host Reply Timeout.");
    }
}

}  // namespace
