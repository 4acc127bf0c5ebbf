#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "fa/events/event_command.h"
#include "fa/events/trace_sampling.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qtime.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/module_state.h"
#include "fa/secs/primaries.h"
#include "fa/secs/spool_table.h"

namespace Talwen {

namespace {

constexpr unsigned int look_ms = 50;
constexpr int looks_in_a_pass = 10;

/// Adds up the milliseconds for which the traces have run; fractions are kept, so that nothing is lost over
/// many samples.
class Running_Time {
  public:
    /// Counts the time since the last look, unless the traces were stopped at either of the two.
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

/// Without communication no samples are used up, unless they are kept for later: with the newer settings the
/// equipment stays on-line when the link is cut.
bool traces_run(BC_FA& fa) {
    return Host_Takes_Events(fa) &&
           (Get_Link_State(fa) == Link_State::communicating || QFA_Get_Spool_Enable(6, 1));
}

/// A pass every half second takes the samples. The looks between two passes see when a new trace or the link
/// has begun to run, so that a sample is neither early nor later than a pass and a look.
class Trace_Watch {
  public:
    void look(BC_FA& fa) {
        const std::uint64_t version = TRID_List.version();
        const bool changed = version != version_;
        // Before the clock is read: so none of them starts later than that.
        Trace_Records now = changed ? TRID_List.all() : Trace_Records();
        time_.look(traces_run(fa));
        const int pass_ms = time_.milliseconds();
        if (changed) Start_New_Traces(traces_, std::move(now), pass_ms + 1);
        version_ = version;
        if (++looks_ < looks_in_a_pass) return;
        looks_ = 0;
        time_.take(pass_ms);
        for (const Trace_Sample& sample : Take_Due_Samples(traces_, pass_ms, time_.runs()))
            Queue_Trace_Sample(sample.TRID, sample.SMPLN);
    }

  private:
    Running_Time time_;
    Trace_Records traces_;
    std::uint64_t version_ = 0;  // of the list that traces_ are from
    int looks_ = 0;
};

}  // namespace

void BC_FA::Thread_FA_TRID_Monitor() {
    TRID_Monitor_Running = true;
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 启动... ...");
    Trace_Watch watch;
    while (!Module_Stopping(*this)) {
        QTime_MSleep(look_ms);
        try {
            watch.look(*this);
        } catch (const std::runtime_error& error) {
            QPrint_Red(Print_Tag, "%s , 捕捉到异常:%s.", "Talwen::BC_FA::Thread_FA_TRID_Monitor",
                       error.what());
        }
    }
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 退出... ...");
    TRID_Monitor_Running = false;
}

}  // namespace Talwen
