// fa-fault-run: equipment and host over a bad network; status 1 and a line each for what must not be.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "fault_run.h"

int main(int argc, char** argv) {
    CLI::App app(
        "Runs equipment and host over a network that delays, splits, merges, freezes and cuts, and compares "
        "their records.");
    app.name("fa-fault-run");
    faults::RunOptions options;
    int seconds = static_cast<int>(options.length.count());
    app.add_option("--seconds", seconds, "length of the run")->capture_default_str();
    app.add_option("--cuts", options.cuts, "cuts, spread over the run")->capture_default_str();
    app.add_option("--flips", options.flips, "flipped bits at most; then only crash and hang count")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "of everything that is left to chance")->capture_default_str();
    try {
        app.parse(argc, argv);
        options.length = std::chrono::seconds(seconds);
        const faults::RunResult result = faults::run(options);
        for (const std::string& line : result.figures) std::printf("%s\n", line.c_str());
        for (const std::string& line : result.findings) std::printf("FINDING: %s\n", line.c_str());
        return result.findings.empty() ? 0 : 1;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fa-fault-run: %s\n", error.what());
        return 1;
    }
}
