// fa-bench: the figures of bench/run.sh.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "bench/canned_server.h"
#include "bench/codec_bench.h"
#include "bench/echo_server.h"
#include "bench/link_bench.h"
#include "bench/memory_bench.h"
#include "bench/step_bench.h"

namespace {

void report(const std::vector<bench::Row>& rows, const std::string& json) {
    bench::print_table(rows);
    if (!json.empty()) bench::write_json(rows, json);
}

void run_all(const bench::LinkBenchOptions& options, const std::string& json) {
    bench::LinkBenchResult result = bench::run_link_bench(options);
    for (bench::Row& row : bench::run_codec_bench(result.status_body)) result.rows.push_back(std::move(row));
    report(result.rows, json);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the equipment against plain yardsticks; bench/run.sh starts what is needed.");
    app.name("fa-bench");
    app.require_subcommand(1);
    std::string json;
    bench::LinkBenchOptions link;
    bench::MemoryBenchOptions memory;
    bench::StepBenchOptions steps;
    std::string folder;

    app.add_subcommand("echo-server", "serve as the yardstick until ended")->callback([] {
        bench::run_echo_server();
    });
    app.add_subcommand("canned-server", "serve as the yardstick of the steps until ended")->callback([] {
        bench::run_canned_server();
    });
    CLI::App* const all = app.add_subcommand("run", "round trips against the echo server, then the codec");
    all->add_option("--echo", link.echo_port, "port of the echo server")->required();
    all->add_option("--equipment", link.equipment_port, "port of the equipment")->required();
    all->add_option("--svids", link.svid_file, "the equipment's SVID.cfg")->required();
    all->add_option("--rounds", link.rounds, "interleaved rounds")->capture_default_str();
    all->add_option("--exchanges", link.exchanges, "exchanges of each kind per round")->capture_default_str();
    all->add_option("--json", json, "write the figures to this file too");
    all->callback([&] { run_all(link, json); });
    CLI::App* const codec = app.add_subcommand("codec", "the codec alone");
    codec->add_option("--json", json, "write the figures to this file too");
    codec->callback([&] { report(bench::run_codec_bench(bench::sample_status_body()), json); });
    CLI::App* const resident = app.add_subcommand("memory", "memory of a running equipment");
    resident->add_option("--equipment", memory.equipment_port, "port of the equipment")->required();
    resident->add_option("--pid", memory.equipment_pid, "process id of the equipment")->required();
    resident->add_option("--svids", memory.svid_file, "the equipment's SVID.cfg")->required();
    resident->add_option("--json", json, "write the figures to this file too");
    resident->callback([&] { report(bench::run_memory_bench(memory), json); });
    CLI::App* const machine =
        app.add_subcommand("step-machine", "write the machine that the steps are measured on");
    machine->add_option("folder", folder, "where to")->required();
    machine->callback([&] { bench::write_step_machine(folder); });
    CLI::App* const step = app.add_subcommand("steps", "from S6F12 to the next S6F11");
    step->add_option("--canned", steps.canned_port, "port of the canned server")->required();
    step->add_option("--equipment", steps.equipment_port, "port of the equipment")->required();
    step->add_option("--commands", steps.commands, "a named pipe, the equipment's standard input")
        ->required();
    step->add_option("--answers", steps.answers, "the file that is its standard output")->required();
    step->add_option("--rounds", steps.rounds, "interleaved rounds")->capture_default_str();
    step->add_option("--steps", steps.steps, "steps of each per round")->capture_default_str();
    step->add_option("--json", json, "write the figures to this file too");
    step->callback([&] { report(bench::run_step_bench(steps), json); });

    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fa-bench: %s\n", error.what());
        return 1;
    }
}
