#include <chrono>
#include <string>
#include <utility>

#include "fa/events/event_command.h"
#include "fa/events/trace_sampling.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qtime.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/module/module_threads.h"
#include "fa/secs/message_queue.h"

namespace Talwen {

namespace {

constexpr unsigned int look_ms = 50;
constexpr int looks_in_a_pass = 10;

void queue_sample(const Trace_Sample& sample) {
    std::string trid = std::to_string(sample.TRID);
    std::string smpln = std::to_string(sample.SMPLN);
    QFA_Message_PushBack(6, 1, &trid, &smpln, nullptr, nullptr, nullptr);
}

/// Adds up the milliseconds for which the traces have run; what is no whole millisecond is kept for later, so
/// that nothing is lost over many samples.
class Running_Time {
  public:
    /// Counts the time since the last look, unless the traces stood still at either of the two.
    void look(bool running) {
        const Clock::time_point now = Clock::now();
        if (running && ran_) counted_ += now - last_look_;
        last_look_ = now;
        ran_ = running;
    }
    int milliseconds() const {
        return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(counted_).count());
    }
    void take(int milliseconds) { counted_ -= std::chrono::milliseconds(milliseconds); }
    bool runs() const { return ran_; }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point last_look_;
    Clock::duration counted_{};
    bool ran_ = false;
};

}  // namespace

// A pass every half second takes the samples. The looks between two passes tell when a new trace or the link
// has begun to run, so that a sample is neither early nor later than a pass and a look.
void BC_FA::Thread_FA_TRID_Monitor() {
    TRID_Monitor_Running = true;
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 启动... ...");
    Running_Time time;
    Trace_Records traces;
    for (int look = 1; !Module_Stopping(*this); ++look) {
        QTime_MSleep(look_ms);
        Trace_Records now = TRID_List.all();  // before the clock: none of them starts later than it says
        time.look(Host_Takes_Events(*this));
        const int pass_ms = time.milliseconds();
        Start_New_Traces(traces, std::move(now), pass_ms + 1);
        if (look < looks_in_a_pass) continue;
        look = 0;
        time.take(pass_ms);
        for (const Trace_Sample& sample : Take_Due_Samples(traces, pass_ms, time.runs()))
            queue_sample(sample);
    }
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 退出... ...");
    TRID_Monitor_Running = false;
}

}  // namespace Talwen
