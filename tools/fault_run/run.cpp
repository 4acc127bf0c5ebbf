#include "tools/fault_run/run.h"

#include <cstdio>
#include <random>

#include "sim/os.h"
#include "tools/fault_run/equipment.h"
#include "tools/fault_run/host.h"
#include "tools/fault_run/lots.h"
#include "tools/fault_run/work.h"

namespace faults {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// True when the user wants to stop before that.
bool stopped_before(Clock::time_point time) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(time - Clock::now());
    return sim::os::wait_for_stop(std::max(left, 0ms));
}

/// Cuts spread evenly over the run, with FIN or RST.
void strike(Network& network, const Options& options) {
    std::mt19937 random(options.plan.seed + 4);
    const auto start = Clock::now();
    for (int cut = 1; cut <= options.cuts; ++cut) {
        if (stopped_before(start + options.length * cut / (options.cuts + 1))) return;
        network.cut(random() % 2 == 0);
    }
    stopped_before(start + options.length);
}

void add_figures(const Network& network, const Equipment& equipment, const Host& host, Result& result) {
    const auto n = [](int number) { return std::to_string(number); };
    std::map<Outcome, int> outcomes = host.outcomes();
    result.figures.push_back(to_text(network.counts()));
    result.figures.push_back("host primaries: " + n(outcomes[Outcome::answered]) + " answered, " +
                             n(outcomes[Outcome::cut]) + " ended by a cut, " +
                             n(outcomes[Outcome::unanswered]) + " unanswered");
    result.figures.push_back("equipment primaries received: " + n(host.primaries_received()) +
                             "; answers the equipment missed: " + n(equipment.answers_missed()));
}

/// After flipped bits, which may change any message, all that can be asked for is a good answer to a good
/// host.
void check_service(Host& host, Result& result) {
    const auto start = Clock::now();
    const auto asked = host.ask("S1F1 W.");
    if (!asked || asked->outcome != Outcome::answered || Clock::now() - start > 2s)
        result.findings.emplace_back("a good host is not served after the flips");
}

void check_records(const Equipment& equipment, const Host& host, Result& result) {
    Comparison comparison = compare(host.numbered(), equipment.last_number());
    for (const int number : comparison.lost)
        result.figures.push_back("in flight at a cut and lost: event " + std::to_string(number));
    result.figures.push_back(comparison.summary);
    result.findings.insert(result.findings.end(), comparison.findings.begin(), comparison.findings.end());
    for (const std::string& sml : host.unanswered()) result.findings.push_back("unanswered: " + sml);
    if (host.samples_reordered() > 0) result.findings.emplace_back("trace samples came out of order");
}

void check(const Options& options, Equipment& equipment, Host& host, Lots& lots, Result& result) {
    const bool flipped = options.plan.most_flips > 0;
    if (!host.wait_selected(10s)) result.findings.emplace_back("the host does not come back");
    if (!flipped)
        for (const std::string& wrong : lots.finish(120s)) result.findings.push_back(wrong);
    if (!equipment.sends_all(60s)) result.findings.emplace_back("the send queue does not empty");
    if (!equipment.fault().empty())
        result.findings.push_back("an event was not raised: " + equipment.fault());
    if (flipped)
        check_service(host, result);
    else
        check_records(equipment, host, result);
    if (!result.findings.empty())
        result.figures.push_back("the equipment's folder is kept: " + equipment.keep_folder().string());
}

}  // namespace

Result run_both(const Options& options) {
    Equipment equipment(options.data, static_cast<int>(options.plan.seed));
    Network network({"127.0.0.1", 0}, {"127.0.0.1", equipment.port()}, options.plan);
    Host host(network.port());
    if (!host.wait_selected(10s)) throw std::runtime_error("the host was not selected at the start");
    host.ask("S1F13 W <L>.");
    host.ask("S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>.");
    Lots lots(host);
    {
        const Work work(equipment, host, options.plan.seed);
        strike(network, options);
        network.calm();
        if (options.plan.most_flips > 0) network.cut(true);  // what a flipped length byte still waits for
    }
    Result result;
    check(options, equipment, host, lots, result);
    add_figures(network, equipment, host, result);
    return result;
}

Result run_network(const Options& options) {
    Network network(options.listen, *options.target, options.plan);
    std::printf("= ready %u\n", static_cast<unsigned>(network.port()));
    std::fflush(stdout);
    strike(network, options);
    return {{to_text(network.counts())}, {}};
}

}  // namespace faults
