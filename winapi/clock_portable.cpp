#if !defined(_WIN32)

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "winapi/equipment_clock.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::system_clock;

std::atomic<milliseconds::rep> offset{0};
std::atomic<winapi::SetClockHook> hook{nullptr};
std::atomic<bool> privilege{false};

std::chrono::sys_time<milliseconds> machine_time() {
    return std::chrono::floor<milliseconds>(system_clock::now());
}

/// The years are those that Windows can express.
bool possible(const SYSTEMTIME& time) {
    const std::chrono::year_month_day date{std::chrono::year(time.wYear), std::chrono::month(time.wMonth),
                                           std::chrono::day(time.wDay)};
    return time.wYear >= 1601 && time.wYear <= 30827 && date.ok() && time.wHour < 24 && time.wMinute < 60 &&
           time.wSecond < 60 && time.wMilliseconds < 1000;
}

bool sets_the_machine() {
    const char* value = std::getenv("FA_SYSTEM_CLOCK");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

}  // namespace

namespace winapi {

void set_clock_offset(milliseconds ahead) {
    offset.store(ahead.count(), std::memory_order_relaxed);
}

void set_clock_hook(SetClockHook new_hook) {
    hook.store(new_hook);
}

void set_clock_privilege(bool enabled) {
    privilege.store(enabled);
}
bool clock_privilege() {
    return privilege.load();
}

}  // namespace winapi

void GetLocalTime(SYSTEMTIME* time) {
    const auto now = machine_time() + milliseconds(offset.load(std::memory_order_relaxed));
    const auto second = std::chrono::floor<seconds>(now);
    const std::time_t since_epoch = second.time_since_epoch().count();
    std::tm parts{};
    localtime_r(&since_epoch, &parts);
    const auto word = [](auto number) { return static_cast<WORD>(number); };
    *time = {word(parts.tm_year + 1900), word(parts.tm_mon + 1),      word(parts.tm_wday),
             word(parts.tm_mday),        word(parts.tm_hour),         word(parts.tm_min),
             word(parts.tm_sec),         word((now - second).count())};
}

BOOL SetLocalTime(const SYSTEMTIME* time) {
    const winapi::SetClockHook asked = hook.load();
    const BOOL allowed = asked == nullptr ? 1 : asked(*time);
    const BOOL result = winapi::clock_privilege() ? allowed : 0;
    if (result == 0 || !possible(*time)) {
        errno = result == 0 ? EPERM : EINVAL;
        return 0;
    }
    std::tm parts{};
    parts.tm_year = time->wYear - 1900;
    parts.tm_mon = time->wMonth - 1;
    parts.tm_mday = time->wDay;
    parts.tm_hour = time->wHour;
    parts.tm_min = time->wMinute;
    parts.tm_sec = time->wSecond;
    parts.tm_isdst = -1;  // whether summer time holds then is for the time zone to say
    const std::time_t since_epoch = std::mktime(&parts);
    milliseconds::rep ahead = 0;
    if (sets_the_machine()) {
        const std::timespec wanted{since_epoch, time->wMilliseconds * 1000000L};
        if (clock_settime(CLOCK_REALTIME, &wanted) != 0) return 0;
    } else {
        ahead = (seconds(since_epoch) + milliseconds(time->wMilliseconds) - machine_time().time_since_epoch())
                    .count();
    }
    winapi::set_clock_offset(milliseconds(ahead));
    return result;
}

#endif
