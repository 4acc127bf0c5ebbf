#include "sim/controller/setting_ranges.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "sim/controller/console.h"
#include "sim/controller/system_log.h"
#include "sim/text.h"

namespace sim {

namespace {

struct Range {
    std::string_view name, meaning;  // one meaning may have several names
    int most;
    std::string (*used)(int value);
};

std::string cut_to_16_bits(int value) {
    return to_text(static_cast<int>(static_cast<std::uint16_t>(value)));
}

std::string seconds_in_32_bits(int value) {
    const std::uint32_t milliseconds = static_cast<std::uint32_t>(value) * 1000U;
    return milliseconds == 0 ? "the default" : to_text(milliseconds / 1000.0) + " s";
}

constexpr int most_seconds = static_cast<int>(UINT32_MAX / 1000U);

constexpr Range ranges[] = {
    {"Comm_Port", "port", 65535, cut_to_16_bits},   {"Remote_Port", "port", 65535, cut_to_16_bits},
    {"Local_Port", "port", 65535, cut_to_16_bits},  {"Device_ID", "device", 32767, cut_to_16_bits},
    {"T0", "T0", most_seconds, seconds_in_32_bits}, {"T0_Prm", "T0", most_seconds, seconds_in_32_bits},
    {"T3", "T3", most_seconds, seconds_in_32_bits}, {"T3_Prm", "T3", most_seconds, seconds_in_32_bits},
    {"T5", "T5", most_seconds, seconds_in_32_bits}, {"T5_Prm", "T5", most_seconds, seconds_in_32_bits},
    {"T6", "T6", most_seconds, seconds_in_32_bits}, {"T6_Prm", "T6", most_seconds, seconds_in_32_bits},
    {"T7", "T7", most_seconds, seconds_in_32_bits}, {"T7_Prm", "T7", most_seconds, seconds_in_32_bits},
    {"T8", "T8", most_seconds, seconds_in_32_bits}, {"T8_Prm", "T8", most_seconds, seconds_in_32_bits},
};

std::mutex mutex;
std::map<std::string_view, int> said;  // the last value out of range, by meaning; guarded by mutex

}  // namespace

void check_setting(std::string_view name, int value) {
    const Range* const range = std::ranges::find(ranges, name, &Range::name);
    if (range == std::end(ranges)) return;
    {
        const std::lock_guard lock(mutex);
        if (value >= 0 && value <= range->most) {
            said.erase(range->meaning);
            return;
        }
        const auto [last, first_time] = said.try_emplace(range->meaning, value);
        if (!first_time && std::exchange(last->second, value) == value) return;
    }
    const std::string used = range->used(value);
    const std::string line = std::string(name) + " " + to_text(value) + " is out of range, 0 to " +
                             to_text(range->most) + ": " +
                             (used == to_text(value) ? "it is used all the same" : used + " is used instead");
    print_console(Colour::yellow, "framework", line);
    log_system(Talwen::LOG_ERROR, line);
}

}  // namespace sim
