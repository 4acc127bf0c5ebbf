// The commands of standard input: one table names them all.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Talwen {
class BC_FA;
}
namespace sim {
class ModuleRunner;
}

namespace equipment {

class Logs;

/// What the commands act on.
struct Context {
    Talwen::BC_FA& module;
    sim::ModuleRunner& runner;
    Logs& logs;
};

/// Why a command is refused; the text follows the "! " of the answer.
class Refusal : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Command {
    std::string_view name;
    std::string_view usage;
    const char* help;
    /// Gets what follows the name; returns what follows the "= " of the answer. Throws Refusal.
    std::string (*run)(Context& context, std::string_view arguments);
};

std::span<const Command> commands();

/// Runs one line and returns the whole answer, one line that begins with "= " or "! ".
std::string answer(Context& context, std::string_view line);

/// The text as a whole number; throws Refusal naming what it is for.
int number_argument(std::string_view text, const char* what);

// The commands' bodies, by what they act on.
std::string run_event(Context&, std::string_view);
std::string run_repeat(Context&, std::string_view);
std::string run_io(Context&, std::string_view);
std::string run_mem(Context&, std::string_view);
std::string run_gem(Context&, std::string_view);
std::string run_fa(Context&, std::string_view);
std::string run_dvid(Context&, std::string_view);
std::string run_ctc(Context&, std::string_view);
std::string run_alarm(Context&, std::string_view);
std::string run_carrier(Context&, std::string_view);
std::string run_calls(Context&, std::string_view);
std::string run_result(Context&, std::string_view);
std::string run_clock(Context&, std::string_view);
std::string run_table(Context&, std::string_view);
std::string run_flag(Context&, std::string_view);
std::string run_status(Context&, std::string_view);
std::string run_link(Context&, std::string_view);
std::string run_flush(Context&, std::string_view);

}  // namespace equipment
