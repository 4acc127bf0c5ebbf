// fa-equipment: the module in a simulated cluster tool, driven by commands on standard input.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>

#include "apps/equipment/commands.h"
#include "apps/equipment/logs.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "hsms/driver/driver_config.h"
#include "sim/console.h"
#include "sim/file_layer.h"
#include "sim/machine.h"
#include "sim/module_runner.h"
#include "sim/os.h"

namespace {

namespace fs = std::filesystem;

/// Something that keeps the program from starting; the text is one clear line.
class StartError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Answers the commands of standard input until its end or end_input(). True when `quit` was among them.
bool serve(equipment::Context& context) {
    while (const auto line = sim::os::read_line()) {
        if (line->find_first_not_of(" \t") == std::string::npos) continue;
        const std::string answer = equipment::answer(context, *line);
        if (answer.empty()) return true;
        sim::print_answer(answer);
    }
    return false;
}

bool module_is_ready(const hsms::LinkStatus& link) {
    return link.state != "stopped" && Talwen::QFA_Get_Main_Monitor_Running_Flag() &&
           Talwen::QFA_Get_TRID_Monitor_Running_Flag();
}

/// Writes "= ready PORT" as soon as both threads of the module run and its link is up; false when a stop came
/// first.
bool announce_ready() {
    using namespace std::chrono_literals;
    hsms::LinkStatus link = hsms::link_status();
    for (; !module_is_ready(link); link = hsms::link_status()) {
        if (sim::os::wait_for_stop(10ms)) return false;
    }
    sim::print_answer("= ready " + std::to_string(link.port));
    return true;
}

void prepare(const fs::path& folder) {
    const fs::path machine_file = folder / "machine.toml";
    if (!fs::is_regular_file(machine_file)) throw StartError(machine_file.string() + ": cannot be read");
    if (!sim::os::lock_folder(folder)) {
        throw StartError(folder.string() +
                         ": another running process holds this data folder, or it cannot be written");
    }
    sim::machine().load_file(machine_file);
    sim::set_data_folder(folder);
    if (sim::machine().tool().moving) {
        sim::print_console(sim::Colour::yellow, "framework",
                           "moving = true: the tool of this version stands still");
    }
}

void run(const fs::path& folder) {
    prepare(folder);
    sim::os::catch_stop_signals();
    equipment::Logs logs(folder / "log", sim::machine().tool().journal);
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
    std::string folder;
    app.add_option("--data", folder, "the equipment's data folder")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        run(folder);
        return 0;
    } catch (const StartError& error) {
        return fail(error, 2);
    } catch (const sim::MachineError& error) {
        return fail(error, 2);
    } catch (const std::exception& error) {
        return fail(error, 1);
    }
}
