// The equipment clock (winapi/equipment_clock.h) and the module's sleeps. Any thread.
#pragma once

#include <chrono>
#include <string>

namespace sim {

/// Factor on every QTime_MSleep of the module: 1 at start, 0.01 for a test that should not wait.
void set_sleep_scale(double scale);

/// The equipment clock runs this far ahead of the machine's; 0 at start.
void set_clock_offset(std::chrono::milliseconds offset);

/// The equipment clock, local time, as 16 characters YYYYMMDDhhmmsscc.
std::string clock_text();

}  // namespace sim
