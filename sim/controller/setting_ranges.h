// Ranges of the link's settings. The module takes any number and cuts it to the driver's fields; this
// controller says when that changes the number.
#pragma once

#include <string_view>

namespace sim {

/// Says in one line, on the console and in the framework log, that a setting ("Comm_Port", "T3_Prm", "T3",
/// ...) is out of range, and what the link uses instead; the setting itself is kept. Other settings and
/// values in range are passed over in silence, and so is a value that was said last, since the module mirrors
/// one side's settings on the other. Any thread.
void check_setting(std::string_view name, int value);

}  // namespace sim
