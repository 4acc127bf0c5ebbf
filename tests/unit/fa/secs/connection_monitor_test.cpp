// The main monitor thread against the fake driver: settings, teardown, stop-and-wait sending, spooling.
#include <thread>

#include "fa/secs/dispatch.h"
#include "fa/secs/message_queue.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

class Monitor : public fake::ModuleFixture {
  protected:
    void TearDown() override {
        stop();
        ModuleFixture::TearDown();
    }
    void run() {
        thread = std::thread([this] { module->Thread_FA_Main_Monitor(); });
    }
    static void await(const std::function<bool()>& condition) {
        ASSERT_TRUE(fake::driver().wait_until(condition));
    }
    static void await(const std::string& call, int times = 1) {
        await([&] { return fake::driver().count(call) >= times; });
    }
    static void await_length(std::size_t length) {
        await([=] { return QFA_Message_Queue_Length() == length; });
    }
    void run_until(const std::string& call) {
        run();
        await(call);
    }
    void stop() {
        if (!thread.joinable()) return;
        module->Stop_Request = 1;
        QFA_Notify_Reply(0, 0);
        thread.join();
    }
    static void select() {
        OnSelect(nullptr);
        sim::machine().set_fa("LinkMD", 3);
    }
    static bool push(unsigned char stream, unsigned char function) {
        return QFA_Message_PushBack(stream, function, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    /// Lets the host answer every primary as soon as it is sent.
    static void answer_everything() {
        fake::driver().on_send([](const fake::Sent& sent) { QFA_Set_ResponseID(sent.id); });
    }
    std::thread thread;
};

// Comm_New_Version; the settings of its side; the link's times, port, device, mode and link test; the other
// side afterwards.
const char* const settings = R"(
new | Comm_IP=127.0.0.9 Comm_Port=5001 Device_ID=12 Comm_Try=1 LinkTest_Enable=4 Init_CommState=0 |
    60000,5000,10000,5000,10000,5000,5001,12,1,1 | fa:Remote_IP=127.0.0.9 fa:Remote_Port=5001 fa:Local_Port=5001
    fa:Device_ID=12 fa:ConnMD=1 fa:LinkTest=1 fa:Enable=1
old | fa:Remote_IP=127.0.0.8 fa:Remote_Port=6001 fa:Device_ID=7 fa:ConnMD=1 fa:LinkTest=0 fa:Enable=1 fa:T0=1 fa:T3=2 fa:T5=3
    fa:T6=4 fa:T7=5 fa:T8=6 Init_CommState=1 LinkTest_Enable=1 | 1000,2000,3000,4000,5000,6000,6001,7,1,0 | Comm_IP=127.0.0.8
    Comm_Port=6001 Device_ID=7 Comm_Try=1 LinkTest_Enable=0 Init_CommState=0
)";

TEST_F(Monitor, SettingsAreMirroredAndReachTheDriver) {
    for (const fake::Texts& row : fake::rows(settings, 4)) {
        start_over();
        Comm_New_Version = row[0] == "new";
        set_states(row[1]);
        run_until(row[0] == "new" ? "connect 127.0.0.9 5001" : "connect 127.0.0.8 6001");
        stop();
        const __secs_sets s = fake::driver().settings();
        const unsigned mode = static_cast<unsigned>(s.conn_mode);
        EXPECT_EQ(fake::joined(std::vector<unsigned>{s.t0, s.t3, s.t5, s.t6, s.t7, s.t8, s.port, s.device_id,
                                                     mode, s.link_test}),
                  row[2]);
        expect_states(row[3]);
        EXPECT_EQ(fake::driver().calls().back(), "destroy");
        EXPECT_EQ(console.front(), "Thread_FA_Main_Monitor 启动... ...");
        EXPECT_EQ(console.back(), "Thread_FA_Main_Monitor 退出... ...");
    }
}

TEST_F(Monitor, DisabledCommunicationCreatesNothing) {
    set_states("Init_CommState=1 Comm_Enable=1 fa:Enable=1");
    run();
    await([] { return fa("LinkMD") == 1; });
    stop();
    EXPECT_EQ(gem("Comm_Enable") + fa("Enable"), 0);
    EXPECT_EQ(fake::driver().calls(), (fake::Texts{"disconnect null", "destroy null"}));
}

TEST_F(Monitor, CreateIsTriedAgainAfterFailing) {
    set_states("fa:T5=1");
    fake::driver().let_create_succeed(false);
    run();
    await("create", 2);
    EXPECT_EQ(fake::driver().log().front(), "SecsCreate failed... ...");
    fake::driver().let_create_succeed(true);
    await("connect  0");
}

TEST_F(Monitor, SwitchingTheGemPointOffTearsDownAndTheNextPassSwitchesItOnAgain) {
    QFA_Set_Spool_Enable(1, 13, true);
    run_until("connect  0");
    const auto sleeps = calls("QTime_MSleep");
    await([=] { return calls("QTime_MSleep") > sleeps + 2; });
    push(1, 13);
    sim::machine().set_gem("Comm_Enable", 0);
    await("connect  0", 2);
    EXPECT_EQ(QFA_Message_Queue_Length(), 0U);
    EXPECT_EQ(gem("Comm_Enable"), 1);
    EXPECT_EQ(fake::driver().count("disconnect") * 10 + fake::driver().count("destroy"), 11);
}

TEST_F(Monitor, ReconnectTearsDownAndKeepsOnlySpooledEntries) {
    ASSERT_TRUE(QFA_Set_Spool_Enable(1, 13, true));
    run_until("connect  0");
    push(1, 1);
    push(1, 13);
    Reconnect = true;
    await("connect  0", 2);
    await([] { return !Reconnect; });
    EXPECT_EQ(fake::driver().count("destroy"), 1);
    await_length(1);
    const std::uint64_t mark = QFA_Message_Queue_Mark();
    push(1, 1);
    QFA_Message_Purge_Unspooled(mark);
    EXPECT_EQ(QFA_Message_Queue_Length(), 2U) << "queued after the mark";
    FA_Message left;
    ASSERT_TRUE(QFA_Message_PopFront(&left));
    EXPECT_EQ(left.function, 13);
}

// By its answer, or by a stream 9 message. The message id of what is in flight is known only after the send:
// what comes before that counts as well.
TEST_F(Monitor, SendsOneAtATimeAndWaitsForEachAnswer) {
    for (const bool rejected : {false, true}) {
        start_over();
        set_states("fa:T7=30 Online_Status=1 S6F12Res_Enable=1");
        fake::driver().on_send([=](const fake::Sent& sent) {
            if (rejected)
                fake::driver().host_sends("S9F5 <B 0>.");
            else
                QFA_Set_ResponseID(sent.id);
        });
        run_until("connect  0");
        select();
        ASSERT_TRUE(push(1, 13) && push(1, 1) && push(1, 1));
        await_length(0);
        const std::vector<fake::Sent> sent = fake::driver().sent();
        ASSERT_EQ(sent.size(), 3U);
        EXPECT_EQ(sent[0].sml + sent[1].sml, "S1F13 W <L <A \"CT-200\"> <A \"1.0.0\">>.S1F1 W.");
        EXPECT_EQ(QFA_Get_RequestID(), 103U);
        Reconnect = true;  // seen, for the empty queue is left
        await("connect  0", 2);
        stop();
        EXPECT_EQ(std::count(console.begin(), console.end(), "准备发送:S0,F0"), 0);
    }
}

TEST_F(Monitor, ARuntimeErrorCostsOnePass) {
    std::atomic<int> errors{0};
    sim::set_console_sink([&](const sim::ConsoleLine& line) {
        if (line.text == "DeviceID:0" && errors == 0) throw std::runtime_error("no printer");
        if (line.text == "Talwen::BC_FA::Thread_FA_Main_Monitor , 捕捉到异常:no printer.") ++errors;
    });
    run_until("connect  0");
    EXPECT_EQ(errors, 1);
}

TEST_F(Monitor, SecondEntryWaitsForTheFirstOnesAnswerAndATimeOutDropsIt) {
    set_states("fa:T7=1");
    run_until("connect  0");
    select();
    push(1, 1);
    push(1, 13);
    await("send S1F1");
    EXPECT_EQ(QFA_Message_Queue_Length(), 2U);  // still queued while its answer is awaited
    await("send S1F13");
    EXPECT_EQ(fake::driver().count("send S1F1"), 1);
    stop();
    EXPECT_EQ(std::count(console.begin(), console.end(), "等待主机应答超时[ S1F1 MsgID:101. T7:1000.]"), 1);
}

TEST_F(Monitor, UnspooledEntriesAreDroppedWhileAwaySpooledOnesSurvive) {
    answer_everything();
    ASSERT_TRUE(QFA_Set_Spool_Enable(1, 13, true));
    run_until("connect  0");
    for (const int function : {1, 13, 1}) push(1, static_cast<unsigned char>(function));
    await_length(1);
    select();
    await("send S1F13");
    EXPECT_EQ(fake::driver().count("send S1F1"), 0);
}

TEST_F(Monitor, WaitForReplyByMessageIdAndStreamSixSwitches) {
    QFA_Message_Queue_Init();
    // Stream, function, message id, the switches S6F2Res_Enable and so on; whether the wait ends well.
    std::istringstream cases(
        "1 13 0 1 0, 1 13 1 1 1, 1 13 2 1 1, 1 13 3 1 0, 1 13 100 1 0, 1 13 101 1 0, 6 1 101 1 0, "
        "6 1 101 0 1, 6 11 101 0 1, 6 13 101 0 1, 6 3 101 0 0, 6 11 101 1 0, 6 11 0 0 0, 7 11 101 0 0");
    unsigned long msgid = 0;
    for (int s, f, on, result; cases >> s >> f >> msgid >> on >> result; cases.ignore()) {
        for (const char* name : {"S6F2Res_Enable", "S6F12Res_Enable", "S6F14Res_Enable"})
            sim::machine().set_gem(name, on);
        EXPECT_EQ(QFA_Wait_Reply(static_cast<unsigned char>(s), static_cast<unsigned char>(f), msgid, 1),
                  result != 0)
            << s << " " << f << " " << msgid;
    }
    QFA_Set_ResponseID(QFA_Get_RequestID());
    EXPECT_TRUE(QFA_Wait_Reply(1, 13, 101, 1));  // an answer that came before the wait
    QFA_Set_ResponseID(5);
    EXPECT_FALSE(QFA_Wait_Reply(777, 1));
    EXPECT_EQ(console.back(), "等待主机应答超时[MsgID:777. T7:1.]");
}

TEST_F(Monitor, EmptyParametersAreLeftOutAndMissingBuildersQueueNothing) {
    std::string a = "a";
    std::string empty;
    EXPECT_TRUE(QFA_Message_PushBack(1, 13, &a, &empty, nullptr, &a, nullptr));
    FA_Message entry;
    ASSERT_TRUE(QFA_Message_PopFront(&entry));
    EXPECT_EQ(entry.params, (fake::Texts{"a", "a"}));
    EXPECT_FALSE(push(4, 1) || push(7, 7));  // 7, 7: no builder in this version
    EXPECT_EQ(QFA_Message_Queue_Length(), 1U);
    QFA_Message_Clear();
}

TEST_F(Monitor, SpoolTableTakesCandidatesOnly) {
    for (int stream = 0; stream < 130; ++stream)
        for (int function = 0; function < 256; ++function)
            EXPECT_EQ(QFA_Set_Spool_Enable(stream, function, true), QFA_Is_Spool_Candidate(stream, function));
    EXPECT_EQ(fake::spooled(),
              "1,1 1,13 2,25 5,1 6,1 6,3 6,9 6,11 6,13 7,1 7,3 7,5 7,27 7,29 9,1 9,3 9,5 9,7 9,9 9,11 "
              "9,13 10,1 16,7 16,9");
}

}  // namespace
