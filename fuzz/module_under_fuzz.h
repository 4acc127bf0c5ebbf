// The module on the demo machine, over the simulated controller and a driver without sockets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "fa/module/bc_fa.h"

namespace fuzz {

/// The one module of the process, its demo tables loaded from a folder of its own. Prints nothing.
Talwen::BC_FA& module();
/// The folder that the module sees as Z:\FA.
const std::filesystem::path& fa_folder();

/// Link and control states from one byte, and which of the two sides decides: every state of the gate.
void set_states(std::uint8_t choice);
/// What one input left behind is forgotten: queue, driver calls, call texts.
void forget();

}  // namespace fuzz
