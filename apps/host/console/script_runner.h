// Runs a script against a host's link.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/host/link/host.h"
#include "sml/script.h"

namespace host {

struct RunSettings {
    std::string file;              ///< named in a failure
    Milliseconds link_timeout;     ///< for the link to be selected or closed
    Milliseconds message_timeout;  ///< for an expected message, until the script sets its own
};

/// Waits for the link and does the steps in order, up to `quit`. Nothing when all went as written; else one
/// line for the first step that did not: "FILE:LINE: what, expected and got".
std::optional<std::string> run_script(Host& host, Monitor& monitor, const std::vector<sml::Step>& steps,
                                      const RunSettings& settings);

}  // namespace host
