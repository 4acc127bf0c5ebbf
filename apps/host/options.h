// The command line of the host.
#pragma once

#include <optional>
#include <string>

#include "hsms/link/link.h"

namespace host {

struct Options {
    hsms::LinkOptions link;
    std::string script;  ///< path; empty for the console
    std::string log;     ///< path of the transcript; empty for none
    bool automatic = true;
    bool quiet = false;
    hsms::Milliseconds timeout{30000};  ///< for the link to be selected
};

/// Reads the command line. When there is nothing to run (help asked for, or a mistake, which is reported on
/// standard error) the result is empty and `exit_status` is set.
std::optional<Options> parse_command_line(int argc, char** argv, int& exit_status);

}  // namespace host
