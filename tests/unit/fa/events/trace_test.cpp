// When traces take their samples, without waiting; and that the monitor queues them.
#include <chrono>
#include <thread>

#include "fa/events/trace_sampling.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

std::shared_ptr<TRID_STRU> trace(int trid, int period, int totsmp) {
    auto record = std::make_shared<TRID_STRU>();
    record->TRID = trid;
    record->period = period;
    record->TOTSMP = totsmp;
    return record;
}

/// The samples of one pass as "TRID/SMPLN" joined by commas.
std::string pass(const Trace_Records& traces, int ms, bool running = true) {
    std::string text;
    for (const Trace_Sample& sample : Take_Due_Samples(traces, ms, running))
        text += (text.empty() ? "" : ",") + std::to_string(sample.TRID) + "/" + std::to_string(sample.SMPLN);
    return text;
}

// Traces (number, period, samples in all); then passes: milliseconds (with "-" while nothing runs), and
// after "=" the samples that the pass takes.
const char* const passes = R"(
5 1500 2, 2 1000 9, 3 1000 0 | 500= 500=2/1 500=5/1 500=2/2 500= 500=5/2,2/3 500= 500=2/4 500= 500=2/5
1 1000 10 | 3700=1/1 0=1/2 0=1/3 299= 1=1/4 2147483000=1/5 2147483000=1/6 0=1/7
1 1000 10 | 900= 200-= 0-= 0-= 0=1/1 899= 1=1/2 || 1 0 3, 2 -4 2 | 500=1/1,2/1 500-= 500=1/2,2/2 500=1/3 500=
)";

TEST(TraceSampling, PassesTakeWhatIsDueAndKeepTheRestForTheNext) {
    for (const fake::Texts& row : fake::rows(passes, 2)) {
        Trace_Records traces;
        std::istringstream records(row[0]);
        for (int trid, period, totsmp; records >> trid >> period >> totsmp; records.ignore())
            traces.push_back(trace(trid, period, totsmp));
        std::istringstream words(row[1]);
        for (std::string word; words >> word;) {
            const std::string samples = word.substr(word.find('=') + 1);
            EXPECT_EQ(pass(traces, std::stoi(word), word.find('-') == std::string::npos), samples)
                << row[1] << " at " << word;
        }
    }
}

TEST(TraceSampling, ATraceCountsFromTheLookThatFirstSawIt) {
    Trace_Records known;
    const auto first = trace(1, 1000, 5);
    Start_New_Traces(known, {first}, 0);
    EXPECT_EQ(pass(known, 500), "");
    const auto redefined = trace(1, 1000, 5);
    Start_New_Traces(known, {first}, 100);
    Start_New_Traces(known, {redefined}, 300);  // 300 ms into the second pass
    EXPECT_EQ(pass(known, 500), "");
    EXPECT_EQ(redefined->elapsed, 200);
    Start_New_Traces(known, {redefined}, 50);
    EXPECT_EQ(pass(known, 500), "");
    EXPECT_EQ(pass(known, 300), "1/1");  // its own numbers, its own zero
    EXPECT_EQ(first->sample_count, 0);
    EXPECT_EQ(first->elapsed, 500);
}

class TraceMonitor : public fake::ModuleFixture {
  protected:
    void TearDown() override {
        end();
        ModuleFixture::TearDown();
    }
    void begin() { monitor = std::thread(&BC_FA::Thread_FA_TRID_Monitor, module.get()); }
    void end() {
        if (!monitor.joinable()) return;
        module->Stop_Request = 1;
        monitor.join();
        QFA_Message_Clear();
    }
    static bool queued(std::size_t count) {
        return fake::driver().wait_until([=] { return QFA_Message_Queue_Length() >= count; });
    }
    /// Waits until the monitor has slept through as many passes.
    static bool passes_over(unsigned long long count) {
        const unsigned long long enough = calls("QTime_MSleep") + 10 * count;
        return fake::driver().wait_until([=] { return calls("QTime_MSleep") >= enough; });
    }

    std::thread monitor;
};

TEST_F(TraceMonitor, RunsWhileTheHostTakesItsSamplesOrTheyAreSpooled) {
    const struct {
        const char* states;
        bool spooled, runs;
    } cases[] = {{"fa:LinkMD=3 Online_Status=1", false, true},
                 {"fa:LinkMD=3 Online_Status=0", true, false},
                 {"fa:LinkMD=0 Online_Status=1", false, false},
                 {"fa:LinkMD=0 Online_Status=1", true, true}};
    for (const auto& [states, spooled, runs] : cases) {
        SCOPED_TRACE(states);
        start_over();
        set_states(std::string("Comm_Enable=1 ") + states);
        QFA_Set_Spool_Enable(6, 1, spooled);
        const auto from = std::chrono::steady_clock::now();
        TRID_List.append_or_replace(*trace(8, runs ? 200 : 0, 2));  // forty passes at this speed
        begin();
        EXPECT_TRUE(!runs || queued(2));
        EXPECT_TRUE(!runs || std::chrono::steady_clock::now() - from >= std::chrono::milliseconds(400));
        EXPECT_TRUE(passes_over(3));
        EXPECT_EQ(QFA_Message_Queue_Length(), runs ? 2U : 0U);
        FA_Message entry;
        EXPECT_EQ(QFA_Message_PopFront(&entry), runs);
        EXPECT_EQ(entry.params, runs ? fake::Texts({"8", "1"}) : fake::Texts());
        EXPECT_EQ(entry.stream * 1000 + entry.function, runs ? 6001 : 0);
        end();
    }
}

TEST_F(TraceMonitor, ARuntimeErrorCostsOneLook) {
    std::atomic<int> errors{0};
    sim::set_console_sink([&](const sim::ConsoleLine& line) {
        if (line.text.starts_with("OnSendMessageBuffer")) throw std::runtime_error("no printer");
        if (line.text == "Talwen::BC_FA::Thread_FA_TRID_Monitor , 捕捉到异常:no printer.") ++errors;
    });
    class Thrower : public BC_FA {
        _SECS_ITEM* send_S06F01(void*, void*) override { throw std::runtime_error("no body"); }
    };
    module.reset();
    module = std::make_unique<Thrower>();
    set_states("Comm_Enable=1 Online_Status=1 fa:LinkMD=3");
    TRID_List.append_or_replace(*trace(8, 0, 2));
    begin();
    EXPECT_TRUE(fake::driver().wait_until([&] { return errors == 2; }));
}

}  // namespace
