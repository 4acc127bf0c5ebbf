// The host's own commands: a line each, of the command's name and its words.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "apps/host/commands/desk.h"
#include "apps/host/commands/words.h"
#include "sml/script.h"

namespace host {

/// What a command does once its words are read; throws Refusal.
using Job = std::function<void(Desk&)>;

struct Command {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    /// Reads the words after the name; throws sml::SyntaxError, or std::runtime_error for a file.
    Job (*prepare)(Words& words);
    bool console_only = false;
};

/// The list of all commands, for people.
std::string command_list();
/// Their names, for sml::parse_script.
std::span<const std::string_view> command_names();
/// Finds and reads the command of a step; throws as `prepare` does. Nothing is done yet.
Job prepare(const sml::Step& step, bool in_script);

// By subject, each in a file of its own.
Job prepare_define(Words& words);
Job prepare_names(Words& words);
Job prepare_events(Words& words);
Job prepare_constants(Words& words);
Job prepare_set(Words& words);
Job prepare_trace(Words& words);
Job prepare_untrace(Words& words);
Job prepare_alarms(Words& words);
Job prepare_alarm(Words& words);
Job prepare_command(Words& words);
Job prepare_spool(Words& words);
Job prepare_clock(Words& words);
Job prepare_messages(Words& words);
Job prepare_watch(Words& words);
Job prepare_help(Words& words);

}  // namespace host
