#include "sim/controller/clock.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <thread>

#include "fa/framework/qtime.h"
#include "sim/controller/calls.h"
#include "winapi/equipment_clock.h"

namespace sim {

namespace {

std::atomic<double> sleep_scale{1.0};

using ClockText = std::array<char, 48>;

ClockText clock_characters() {
    SYSTEMTIME t;
    GetLocalTime(&t);
    ClockText text;
    std::snprintf(text.data(), text.size(), "%04d%02d%02d%02d%02d%02d%02d", t.wYear, t.wMonth, t.wDay,
                  t.wHour, t.wMinute, t.wSecond, t.wMilliseconds / 10);
    return text;
}

/// SetLocalTime counts as an operation of the controller: journal, last arguments, a result that can be set.
SIM_BOOLEAN(SetLocalTime)
int note_set_clock(const SYSTEMTIME& t) {
    ClockText text;
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.wYear, t.wMonth, t.wDay,
                  t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
    return record(Op::SetLocalTime, text.data());
}

[[maybe_unused]] const bool clock_hook_is_set = (winapi::set_clock_hook(note_set_clock), true);

}  // namespace

void set_sleep_scale(double scale) {
    sleep_scale.store(scale, std::memory_order_relaxed);
}

void set_clock_offset(std::chrono::milliseconds offset) {
    winapi::set_clock_offset(offset);
}

std::string clock_text() {
    return clock_characters().data();
}

}  // namespace sim

namespace Talwen {

SIM_READ(QTime_MSleep)
void QTime_MSleep(unsigned int ms) {
    sim::note(Op::QTime_MSleep, std::to_string(ms));
    std::this_thread::sleep_for(
        std::chrono::duration<double, std::milli>(ms * sim::sleep_scale.load(std::memory_order_relaxed)));
}

SIM_READ(QTime_Get_DateTimeID2_Str)
const char* QTime_Get_DateTimeID2_Str() {
    sim::count(Op::QTime_Get_DateTimeID2_Str);
    thread_local sim::ClockText text;
    text = sim::clock_characters();
    return text.data();
}

}  // namespace Talwen
