// fa-fault-run: equipment and host over a bad network.
#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <exception>

#include "sim/os.h"
#include "tools/fault_run/run.h"

namespace {

constexpr const char* footer =
    R"(Without --to, an equipment on a copy of the demo machine and a host talk to each other: numbered events,
queries, redefinitions, commands, alarms, traces, and lots on two load ports. Then the two records are compared. An
event may be lost only with a cut that took it, none may come twice or out of order, every primary that was not cut is
answered, and every lot comes to its end. With --flips only a crash, a hang and a good host that is not served any more
count.

With --to, only the network is run, for an equipment or a host of your own. It prints "= ready PORT"; let the other
side connect to that port:
  fa-fault-run --to 192.0.2.5:5000 --listen 5001 --seconds 600 --cuts 20
  fa-host --connect 127.0.0.1:5001

SIGINT and SIGTERM end it early. Exit status: 0 nothing wrong was seen, 1 something was (a line "FINDING: ..."
each), 2 wrong usage, or what it needs is not there (one line on standard error).)";

/// ADDRESS:PORT, or PORT alone for 127.0.0.1; nothing when it is neither.
std::optional<faults::Endpoint> endpoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    std::string address = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
    if (address.size() > 2 && address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    const char* const digits = text.c_str() + (colon == std::string::npos ? 0 : colon + 1);
    const char* const end = text.c_str() + text.size();
    std::uint16_t port = 0;
    const auto [stop, error] = std::from_chars(digits, end, port);
    if (error != std::errc{} || stop != end || address.empty()) return std::nullopt;
    return faults::Endpoint{address, port};
}

/// Checks an endpoint; the port of a target is not 0.
CLI::Validator endpoint_with_port(int least) {
    return {[least](const std::string& text) {
                const auto read = endpoint(text);
                return read && read->port >= least ? std::string() : "[ADDRESS:]PORT is needed, not " + text;
            },
            ""};
}

void add_endpoints(CLI::App& app, std::string& to, std::string& listen, faults::Options& options) {
    CLI::Option* target = app.add_option("--to", to, "run only the network, to the equipment or host there");
    target->type_name("[ADDRESS:]PORT")->check(endpoint_with_port(1));
    app.add_option("--listen", listen, "where the other side connects to; a free port without it")
        ->type_name("[ADDRESS:]PORT")
        ->check(endpoint_with_port(0))
        ->needs(target);
    app.add_option("--data", options.data,
                   "data folder of the equipment, the demo machine or a variant; it is copied")
        ->type_name("DIR")
        ->capture_default_str()
        ->excludes(target);
}

void add_faults(CLI::App& app, faults::Options& options) {
    const auto share = [&app](const char* name, double& value, const char* what) {
        app.add_option(name, value, what)->check(CLI::Range(0.0, 1.0))->capture_default_str();
    };
    app.add_option("--cuts", options.cuts, "cuts, spread evenly over the run")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--flips", options.plan.most_flips, "flipped bits, at most")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    share("--delay", options.plan.delay, "share of the pieces that wait, 20 ms at most");
    share("--split", options.plan.split, "... whose first 64 bytes go one by one");
    share("--merge", options.plan.merge, "... that wait for the next one, 20 ms at most");
    share("--freeze", options.plan.freeze, "... at which nothing moves any more, for 300 ms at most");
    app.add_option("--seed", options.plan.seed, "of everything that is left to chance")
        ->capture_default_str();
}

int report(const faults::Result& result) {
    for (const std::string& line : result.figures) std::printf("%s\n", line.c_str());
    for (const std::string& line : result.findings) std::printf("FINDING: %s\n", line.c_str());
    return result.findings.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Lets SECS equipment and host talk over a network that delays, splits, merges, freezes and cuts.");
    app.name("fa-fault-run");
    app.footer(footer);
    faults::Options options;
    int seconds = static_cast<int>(options.length.count());
    app.add_option("--seconds", seconds, "length of the run")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    std::string to;
    std::string listen = "0";
    add_endpoints(app, to, listen, options);
    add_faults(app, options);
    try {
        app.parse(argc, argv);
        options.length = std::chrono::seconds(seconds);
        if (!to.empty()) options.target = endpoint(to);
        options.listen = *endpoint(listen);
        options.plan.most_freezes = seconds;
        sim::os::catch_stop_signals();
        return report(options.target ? run_network(options) : run_both(options));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fa-fault-run: %s\n", error.what());
        return 2;
    }
}
