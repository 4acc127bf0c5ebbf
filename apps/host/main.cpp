#include <cstdio>
#include <exception>
#include <fstream>
#include <future>
#include <iostream>
#include <spdlog/details/os.h>
#include <sstream>

#include "apps/host/commands/commands.h"
#include "apps/host/console/console.h"
#include "apps/host/console/script_runner.h"
#include "apps/host/options.h"

namespace {

enum Exit : int { success = 0, not_met = 1, unusable = 2 };

int fail(int status, const std::string& line) {
    std::cerr << line << '\n';
    return status;
}

// False when the file cannot be read or does not parse, which is reported on standard error.
bool read_script(const std::string& path, std::vector<sml::Step>& steps) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file.peek() != std::ifstream::traits_type::eof()) text << file.rdbuf();
    if (!file.is_open() || file.bad() || text.fail()) {
        std::cerr << path << ": cannot be read\n";
        return false;
    }
    try {
        steps = sml::parse_script(text.str(), host::command_names());
        for (const sml::Step& step : steps)
            if (step.action == sml::Action::command) host::prepare(step, true);
    } catch (const sml::SyntaxError& error) {
        std::cerr << path << ':' << error.what() << '\n';
        return false;
    } catch (const std::runtime_error& error) {  // a file that a command names
        std::cerr << error.what() << '\n';
        return false;
    }
    return true;
}

int converse(host::Host& host, host::Monitor& monitor, const host::Options& options) {
    const host::ConsoleResult result = run_console(host, monitor, std::cin, options.timeout);
    if (result.end == host::ConsoleEnd::quit) return success;
    // Started in the background without input: stays to answer until it is killed.
    if (!result.anything_typed && !spdlog::details::os::in_terminal(stdin))
        std::promise<void>().get_future().wait();
    host.wait_idle();
    return success;
}

int run(const host::Options& options) {
    std::vector<sml::Step> steps;
    if (!options.script.empty() && !read_script(options.script, steps)) return unusable;

    host::Printer printer(options.quiet);
    host::Monitor monitor(printer);
    host::Host host(options.link, options.automatic, options.log, monitor);
    const bool passive = options.link.session.role == hsms::Role::passive;
    if (!host.start() && passive)
        return fail(not_met,
                    "cannot listen on " + options.link.address + ":" + std::to_string(options.link.port));
    if (passive) printer.fact("listening " + std::to_string(host.port()));

    if (options.script.empty()) return converse(host, monitor, options);
    const auto failure =
        run_script(host, monitor, steps, {options.script, options.timeout, options.link.session.t3});
    host.stop();
    return failure ? fail(not_met, *failure) : success;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        int exit_status = success;
        const auto options = host::parse_command_line(argc, argv, exit_status);
        return options ? run(*options) : exit_status;
    } catch (const std::exception& error) {
        return fail(not_met, std::string("fa-host: ") + error.what());
    }
}
