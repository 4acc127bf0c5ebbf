// Host scripts: what a host sends and what it expects, step by step. script_grammar says how they are
// written.
#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sml/cursor.h"
#include "sml/message.h"

namespace sml {

/// What one step of a script does.
enum class Action : std::uint8_t {
    send,            ///< sends `message`; a primary with W waits for its reply
    send_only,       ///< sends `message` and goes on
    expect,          ///< the next message of that stream and function must match `pattern`
    await,           ///< skips messages until one matches `pattern`
    expect_timeout,  ///< the primary sent before must get no reply
    pause,           ///< goes on after `duration`
    wait_selected,
    wait_closed,
    wait_communicating,
    reconnect,
    clear,    ///< forgets what was received so far
    timeout,  ///< sets how long the following steps wait for a message
    command,  ///< `command`, a line of the program that runs the script
    quit,     ///< ends the script
};

struct Step {
    Action action = Action::send;
    Place place;             ///< where the step begins
    Message message;         ///< send, send_only
    MessagePattern pattern;  ///< expect, await
    std::chrono::milliseconds duration{0};
    std::string command;  ///< the whole line, from the command's name on
};

/// Reads a whole script; throws SyntaxError. A step that begins with one of `commands` goes up to the end of
/// its line and is left to the caller.
std::vector<Step> parse_script(std::string_view text, std::span<const std::string_view> commands = {});

/// The grammar for people, as the host prints it in its help.
extern const std::string_view script_grammar;

}  // namespace sml
