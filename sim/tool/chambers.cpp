// The cluster tool's process modules: recipe steps, alarms, and the noise on their points.
#include <algorithm>

#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {

namespace {

// Of PMn.State.
constexpr int chamber_idles = 1, chamber_processes = 2, chamber_in_error = 6;
constexpr int result_good = 0, result_aborted = 1;

/// The alarm's category (SEMI E5), as the module reports it: 3 to 5 for levels 1 to 3.
int category(const Alarms::Alarm& alarm) {
    return alarm.level == Talwen::ALARM_NONE ? 0 : static_cast<int>(alarm.level) + 2;
}

}  // namespace

void Cluster::begin_process(Wafer& wafer) {
    Chamber& chamber = chambers_[wafer.chamber()];
    const std::size_t steps = wafer.now().steps.size();
    chamber.processing = true;
    chamber.step = 0;
    chamber.began = timeline_.now();
    const bool strikes = chance_.unit() < machine_.tool.alarm_rate;
    const std::size_t where = chance_.below(steps);
    chamber.alarm_step = strikes ? std::optional(where) : std::nullopt;
    show_chamber(chamber, &wafer);
    tell_chamber(ToolStep::process_started, wafer, 0, "");
    begin_step(wafer);
    start_noise();
}

void Cluster::begin_step(Wafer& wafer) {
    Chamber& chamber = chambers_[wafer.chamber()];
    const RecipeStep& step = wafer.now().steps[chamber.step];
    const int number = static_cast<int>(chamber.step) + 1;
    chamber.step_began = timeline_.now();
    chamber.points.follow(step, nullptr);
    put_point(machine_, chamber.name, "StepNumber", number);
    put_point(machine_, chamber.name, "StepName", step.name);
    for (const char* on : {"SourceRfOn", "SourceOn"}) put_point(machine_, chamber.name, on, step.source > 0);
    put_point(machine_, chamber.name, "BiasRfOn", step.bias > 0);
    tell_chamber(ToolStep::step_started, wafer, number, step.name);
    if (chamber.alarm_step == chamber.step) {
        after(step.seconds * alarm_after, wafer.port, [this, &wafer] { strike(wafer); });
    } else {
        after(step.seconds, wafer.port, [this, &wafer] { end_step(wafer); });
    }
}

/// The module waits until the alarm clears; then the rest of the step follows.
void Cluster::strike(Wafer& wafer) {
    Chamber& chamber = chambers_[wafer.chamber()];
    const RecipeStep& step = wafer.now().steps[chamber.step];
    const double hold = alarm_hold_least + chance_.unit() * (alarm_hold_most - alarm_hold_least);
    chamber.alarm = choose_alarm(chamber.name);
    if (chamber.alarm != nullptr) {
        machine_.alarms.post(chamber.alarm->id);
        tell(ToolStep::alarm_set, {.port = wafer.port,
                                   .slot = wafer.slot,
                                   .number = 128 | category(*chamber.alarm),
                                   .alarm = chamber.alarm->id,
                                   .name = chamber.alarm->text});
    }
    put_point(machine_, chamber.name, "State", chamber_in_error);
    tell_chamber(ToolStep::step_held, wafer, static_cast<int>(chamber.step) + 1, step.name);
    after(hold, wafer.port, [this, &wafer, &chamber, &step] {
        clear_alarm(chamber, wafer);
        put_point(machine_, chamber.name, "State", chamber_processes);
        after(step.seconds * (1 - alarm_after), wafer.port, [this, &wafer] { end_step(wafer); });
    });
}

void Cluster::clear_alarm(Chamber& chamber, const Wafer& wafer) {
    if (chamber.alarm == nullptr) return;
    machine_.alarms.clear(chamber.alarm->id);
    tell(ToolStep::alarm_cleared, {.port = wafer.port,
                                   .slot = wafer.slot,
                                   .number = category(*chamber.alarm),
                                   .alarm = chamber.alarm->id,
                                   .name = chamber.alarm->text});
    chamber.alarm = nullptr;
}

void Cluster::end_step(Wafer& wafer) {
    Chamber& chamber = chambers_[wafer.chamber()];
    const RecipeStep& step = wafer.now().steps[chamber.step];
    tell_chamber(ToolStep::step_ended, wafer, static_cast<int>(chamber.step) + 1, step.name);
    if (++chamber.step < wafer.now().steps.size()) {
        begin_step(wafer);
    } else {
        end_process(wafer);
    }
}

/// A path that stays in the module goes on with its next recipe there.
void Cluster::end_process(Wafer& wafer) {
    Chamber& chamber = chambers_[wafer.chamber()];
    chamber.processing = false;
    chamber.points.rest();
    for (const char* counter : {"WaferCount", "WafersSinceClean"})
        count_point(machine_, chamber.name, counter);
    put_point(machine_, chamber.name, "LastRecipe", wafer.now().recipe);
    put_points(machine_, chamber.name, "State=1 StepNumber=0 SourceRfOn=0 SourceOn=0 BiasRfOn=0");
    tell_chamber(ToolStep::process_ended, wafer, result_good, "");
    tell_wafer(ToolStep::wafer_processed, wafer);
    tell_chamber(ToolStep::chamber_idle, wafer, 0, "");
    if (!wafer.last_visit() && wafer.chambers[wafer.visit + 1] == wafer.chamber()) {
        ++wafer.visit;
        return begin_process(wafer);
    }
    wafer.busy = false;
    wafer.waits_since = ++count_;
}

void Cluster::abort_process(Chamber& chamber) {
    const Wafer& wafer = *chamber.taken_by;
    clear_alarm(chamber, wafer);
    chamber.processing = false;
    chamber.points.rest();
    put_points(machine_, chamber.name, "State=1 StepNumber=0 SourceRfOn=0 SourceOn=0 BiasRfOn=0");
    tell_chamber(ToolStep::process_ended, wafer, result_aborted, "");
    tell_chamber(ToolStep::chamber_idle, wafer, 0, "");
}

/// The module shows the wafer that it processes, or that it holds none.
void Cluster::show_chamber(Chamber& chamber, const Wafer* wafer) {
    put_wafer(machine_, chamber.name, "", wafer == nullptr ? "" : wafer->id);
    put_point(machine_, chamber.name, "State", wafer == nullptr ? chamber_idles : chamber_processes);
    if (wafer == nullptr) return;
    put_point(machine_, chamber.name, "LotID", port_at(wafer->port).lot->id);
    put_point(machine_, chamber.name, "RecipeName", wafer->now().recipe);
    put_point(machine_, chamber.name, "StepCount", static_cast<int>(wafer->now().steps.size()));
}

void Cluster::tell_chamber(ToolStep step, const Wafer& wafer, int number, std::string_view name) {
    tell(step, {.port = wafer.port,
                .slot = wafer.slot,
                .module = static_cast<int>(wafer.chamber()),
                .number = number,
                .name = name});
}

/// One of the module's own alarms (their text begins with its name); any alarm when it has none.
const Alarms::Alarm* Cluster::choose_alarm(std::string_view module) {
    std::vector<const Alarms::Alarm*> own, all;
    for (int i = 0; i < machine_.alarms.count(); ++i) {
        const Alarms::Alarm* alarm = machine_.alarms.at(i);
        all.push_back(alarm);
        if (alarm->text.starts_with(std::string(module) + " ")) own.push_back(alarm);
    }
    const auto& from = own.empty() ? all : own;
    return from.empty() ? nullptr : from[chance_.below(from.size())];
}

/// While a module processes, its points move about once a second of real time.
void Cluster::start_noise() {
    if (noisy_) return;
    noisy_ = true;
    timeline_.after(speed_of(machine_), [this] { make_noise(); });
}

void Cluster::make_noise() {
    noisy_ = false;
    for (Chamber& chamber : chambers_) {
        if (!chamber.processing) continue;
        start_noise();
        chamber.points.follow(chamber.taken_by->now().steps[chamber.step], &noise_);
        const auto seconds = [this](Timeline::Milliseconds since) {
            return static_cast<int>((timeline_.now() - since) / 1000);
        };
        put_point(machine_, chamber.name, "StepTime", seconds(chamber.step_began));
        put_point(machine_, chamber.name, "RecipeTime", seconds(chamber.began));
    }
}

}  // namespace sim
