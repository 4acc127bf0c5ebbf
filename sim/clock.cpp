#include "sim/clock.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <thread>

#include "fa/framework/qtime.h"
#include "sim/calls.h"

namespace sim {

namespace {

using std::chrono::system_clock;

std::atomic<double> sleep_scale{1.0};
std::atomic<std::chrono::milliseconds::rep> clock_offset{0};

std::array<char, 17> clock_characters() {
    const auto now =
        system_clock::now() + std::chrono::milliseconds(clock_offset.load(std::memory_order_relaxed));
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    const auto hundredths = std::chrono::duration_cast<std::chrono::milliseconds>(now - second).count() / 10;
    const std::time_t time = system_clock::to_time_t(second);
    std::tm parts{};
    localtime_r(&time, &parts);
    std::array<char, 17> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, "%02d", static_cast<int>(hundredths));
    return text;
}

}  // namespace

void set_sleep_scale(double scale) {
    sleep_scale.store(scale, std::memory_order_relaxed);
}

void set_clock_offset(std::chrono::milliseconds offset) {
    clock_offset.store(offset.count(), std::memory_order_relaxed);
}

std::string clock_text() {
    return clock_characters().data();
}

}  // namespace sim

namespace Talwen {

void QTime_MSleep(unsigned int ms) {
    sim::note(sim::Op::QTime_MSleep, std::to_string(ms));
    std::this_thread::sleep_for(
        std::chrono::duration<double, std::milli>(ms * sim::sleep_scale.load(std::memory_order_relaxed)));
}

const char* QTime_Get_DateTimeID2_Str() {
    sim::count(sim::Op::QTime_Get_DateTimeID2_Str);
    thread_local std::array<char, 17> text;
    text = sim::clock_characters();
    return text.data();
}

}  // namespace Talwen
