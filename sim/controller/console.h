// Console print: every line of standard output passes here, the module's and the program's. Any thread.
//
// Lines are handed to one writer thread, so that a slow reader of standard output does not hold up the
// module. A full buffer (4 MB) makes its writers wait: a command's answer until there is room, the module's
// lines for a second; then those are dropped and counted until there is room again, and the framework log
// says so. Once a stop was asked for (sim/os.h), or the process ends, all of them together wait one second at
// most, and what does not get out by then is dropped.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace sim {

enum class Colour { plain, red, green, yellow, blue, cyan };

struct ConsoleLine {
    Colour colour;
    std::string tag;
    std::string text;  ///< as printed by the module, without the tag
};

/// Takes the module's lines instead of standard output, on the printing thread, one at a time; null for
/// standard output again.
using ConsoleSink = std::function<void(const ConsoleLine&)>;
void set_console_sink(ConsoleSink sink);

/// One line of the module's: "[tag] text", coloured on a terminal. A line never begins with "= " or "! ".
void print_console(Colour colour, const char* tag, std::string text);
/// One line exactly as it is (a command's answer).
void print_answer(std::string_view line);
/// Returns once everything printed so far has been written, or given up after a stop; the framework log then
/// has the number of dropped lines.
void flush_console();

}  // namespace sim
