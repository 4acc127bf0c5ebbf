// fa-equipment: the module in a simulated cluster tool, driven by commands on standard input.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "apps/equipment/commands.h"
#include "apps/equipment/logs.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/module_state.h"
#include "hsms/driver/driver_config.h"
#include "hsms/link/link.h"
#include "sim/controller/console.h"
#include "sim/controller/file_layer.h"
#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"
#include "sim/os.h"

namespace {

namespace fs = std::filesystem;

/// Something that keeps the program from starting; the text is one clear line.
class StartError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr std::size_t longest_command = 4U << 20U;

/// Answers the commands of standard input until its end or end_input(). True when `quit` was among them.
bool serve(equipment::Context& context) {
    while (const auto line = sim::os::read_line(longest_command)) {
        if (line->find_first_not_of(" \t") == std::string::npos) continue;
        const std::string answer =
            line->size() > longest_command
                ? "! a line may be " + std::to_string(longest_command) + " bytes long, this one is longer"
                : equipment::answer(context, *line);
        if (answer.empty()) return true;
        sim::print_answer(answer);
    }
    return false;
}

bool threads_run() {
    return Talwen::QFA_Get_Main_Monitor_Running_Flag() && Talwen::QFA_Get_TRID_Monitor_Running_Flag();
}

std::string why_no_link() {
    if (!threads_run()) return "the module's threads do not run; log/system.log may say why";
    const bool enabled = Talwen::QFA_Get_Comm_New_Version_Flag() ? sim::machine().gem("Comm_Enable") != "0"
                                                                 : sim::machine().fa("Enable") != "0";
    return enabled ? "log/online.log says why" : "communication is disabled; see also log/online.log";
}

/// Writes "= ready PORT" as soon as both threads of the module run and its link is up; false when a stop came
/// first. When that takes long, one line says that the link is down.
bool announce_ready() {
    using namespace std::chrono_literals;
    const auto patient_until = std::chrono::steady_clock::now() + 2s;
    bool said = false;
    hsms::LinkStatus link = hsms::link_status();
    for (; link.state == "stopped" || !threads_run(); link = hsms::link_status()) {
        if (sim::os::wait_for_stop(10ms)) return false;
        if (said || std::chrono::steady_clock::now() < patient_until) continue;
        said = true;
        sim::print_console(sim::Colour::yellow, "framework", "the link is not listening: " + why_no_link());
    }
    sim::print_answer("= ready " + std::to_string(link.port));
    return true;
}

void read_machine(const fs::path& file) {
    std::error_code error;
    if (!fs::is_regular_file(file, error))
        throw StartError(file.string() + ": cannot be read" + (error ? ": " + error.message() : ""));
    sim::machine().load_file(file);
}

void lock(const fs::path& folder) {
    try {
        if (sim::os::lock_folder(folder)) return;
    } catch (const std::system_error& error) {
        throw StartError(error.what());
    }
    throw StartError(folder.string() + ": another running process holds this data folder");
}

void prepare(const fs::path& folder) {
    read_machine(folder / "machine.toml");
    lock(folder);
    sim::set_data_folder(folder);
    sim::remove_unfinished_files();
}

void run(const fs::path& folder, const std::vector<std::string>& allowed_hosts) {
    for (const std::string& address : allowed_hosts)
        if (!hsms::is_address(address)) throw StartError("--allow " + address + ": expected an IP address");
    prepare(folder);
    sim::os::catch_stop_signals();
    equipment::Logs logs(folder / "log", sim::machine().tool().journal, allowed_hosts);
    bool quit = false;
    {
        Talwen::BC_FA module;
        sim::ModuleRunner runner(module);
        runner.start();
        equipment::Context context{module, runner, logs};
        std::thread input([&] { quit = serve(context); });
        if (announce_ready()) sim::os::wait_for_stop(std::nullopt);
        runner.stop();
        sim::os::end_input();
        input.join();
    }
    logs.flush();
    if (quit) sim::print_answer("= bye");
    sim::flush_console();
}

int fail(const std::exception& error, int status) {
    std::fprintf(stderr, "fa-equipment: %s\n", error.what());
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "The factory-automation module in a simulated cluster tool. Commands on standard input; `help` lists "
        "them.");
    app.name("fa-equipment");
    app.set_version_flag("--version", "fa-equipment " FA_VERSION);
    app.footer(
        "Exit status: 0 after an orderly stop (quit, SIGINT, SIGTERM); 2 for wrong arguments, a "
        "machine.toml\n"
        "that is missing or wrong, and a data folder that is in use or cannot be written; 1 for any other\n"
        "failure.");
    std::string folder;
    app.add_option("--data", folder, "the equipment's data folder")->required();
    std::vector<std::string> allowed_hosts;
    app.add_option(
           "--allow", allowed_hosts,
           "an address that may connect (repeat it for more); without it any, unless the settings name "
           "the host's")
        ->allow_extra_args(false);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        run(folder, allowed_hosts);
        return 0;
    } catch (const StartError& error) {
        return fail(error, 2);
    } catch (const sim::MachineError& error) {
        return fail(error, 2);
    } catch (const std::exception& error) {
        return fail(error, 1);
    }
}
