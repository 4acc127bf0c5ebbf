// The host's console: what is typed is sent.
#pragma once

#include <iosfwd>

#include "apps/host/link/host.h"

namespace host {

enum class ConsoleEnd : std::uint8_t {
    quit,        ///< quit was typed
    end_of_text  ///< the input ended
};

struct ConsoleResult {
    ConsoleEnd end;
    bool anything_typed;
};

/// Reads messages (over several lines, each up to its dot) and commands (a line each), until `quit` or
/// the end of `input`. A mistake is reported with its line and column, counted from the first line of the
/// unfinished message, and what was typed so far is dropped. A message that is typed before the link is
/// selected waits for that, up to `link_timeout`.
ConsoleResult run_console(Host& host, Monitor& monitor, std::istream& input, Milliseconds link_timeout);

}  // namespace host
