#include "fault_run.h"

#include <array>
#include <atomic>
#include <functional>
#include <random>
#include <set>
#include <thread>

#include "equipment.h"
#include "fault_host.h"
#include "support/fault_proxy.h"

namespace faults {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// The work that goes on at once, each on a thread of its own until the end.
class Workers {
  public:
    ~Workers() { stop(); }
    void start(std::function<void()> step, std::chrono::milliseconds pause) {
        threads_.emplace_back([this, step = std::move(step), pause] {
            while (!stopping_) {
                step();
                std::this_thread::sleep_for(pause);
            }
        });
    }
    void stop() {
        stopping_ = true;
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }

  private:
    std::atomic<bool> stopping_{false};
    std::vector<std::thread> threads_;
};

const std::array queries{
    "S1F1 W.",
    "S1F3 W <L <U4 1001> <U4 1002> <U4 1003>>.",
    "S1F3 W <L>.",
    "S1F11 W <L <U4 1001>>.",
    "S2F13 W <L>.",
    "S2F29 W <L <U4 1>>.",
    "S2F17 W.",
    "S2F25 W <B 1 2 3 4 5 6 7 8>.",
    "S5F5 W <L>.",
    "S5F7 W.",
    "S6F15 W <U4 54101>.",
    "S6F19 W <U4 62001>.",
};
// Reports and events of their own; the numbered one stays as it is.
const std::array redefinitions{
    "S2F33 W <L <U4 620> <L <L <U4 62001> <L <U4 1002> <U4 1003>>>>>.",
    "S2F35 W <L <U4 620> <L <L <U4 12101> <L <U4 62001>>>>>.",
    "S2F37 W <L <BOOLEAN T> <L <U4 12101>>>.",
    "S2F37 W <L <BOOLEAN F> <L <U4 12101>>>.",
    "S2F35 W <L <U4 620> <L <L <U4 12101> <L>>>>.",
    "S2F33 W <L <U4 620> <L <L <U4 62001> <L>>>>.",
    "S2F23 W <L <U4 9> <A \"000001\"> <U4 100> <U4 1> <L <U4 1002> <U4 1003>>>.",
    "S2F23 W <L <U4 9> <A \"000001\"> <U4 0> <U4 1> <L>>.",
    "S5F3 W <L <B 0x00> <U4 1002>>.",
    "S5F3 W <L <B 0x80> <U4 1002>>.",
};
const std::array commands{
    "S2F41 W <L <A \"START\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"STOP\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"PAUSE\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"RESUME\"> <L <L <A \"PORTID\"> <U1 1>>>>.",
    "S2F41 W <L <A \"SignalTower\"> <L <L <A \"REDSTATE\"> <U1 1>> <L <A \"GREENSTATE\"> <U1 0>> "
    "<L <A \"YELLOWSTATE\"> <U1 0>> <L <A \"BLUESTATE\"> <U1 0>>>>.",
    "S2F41 W <L <A \"ReadCarrierID\"> <L <L <A \"PORTID\"> <U1 2>>>>.",
};

template <class List>
void ask_one_of(FaultHost& host, std::mt19937& random, const List& list) {
    host.ask(list[random() % list.size()]);
}

support::FaultPlan plan_of(const RunOptions& options) {
    support::FaultPlan plan;
    plan.seed = static_cast<std::uint32_t>(options.seed);
    plan.delay = 0.05;
    plan.split = 0.05;
    plan.merge = 0.05;
    plan.freeze = 0.002;
    plan.most_freezes = static_cast<int>(options.length.count());
    plan.most_flips = options.flips;
    plan.flip = options.flips > 0 ? 0.02 : 0;
    plan.longest = options.length;
    return plan;
}

/// Which numbers the host lacks, gathered by the cut that took them, and what else is wrong with the record.
void compare(const Equipment& equipment, const FaultHost& host, RunResult& result) {
    const std::vector<Numbered> received = host.numbered();
    int twice = 0;
    int reordered = 0;
    int lost = 0;
    std::set<int> seen;
    int last = first_number - 1;
    int last_connection = 1;
    for (const Numbered& event : received) {
        if (!seen.insert(event.number).second) {
            ++twice;
            result.findings.push_back("event " + std::to_string(event.number) + " came twice");
            continue;
        }
        if (event.number < last) {
            ++reordered;
            result.findings.push_back("event " + std::to_string(event.number) + " came behind " +
                                      std::to_string(last));
            continue;
        }
        const int missing = event.number - last - 1;
        const int cuts = event.connection - last_connection;
        lost += missing;
        for (int number = last + 1; number < event.number; ++number)
            result.figures.push_back("in flight at a cut and lost: event " + std::to_string(number) +
                                     " (connection " + std::to_string(last_connection) + ")");
        if (missing > cuts)
            result.findings.push_back(std::to_string(missing) + " events from " + std::to_string(last + 1) +
                                      " lost with " + std::to_string(cuts) + " cuts between");
        last = event.number;
        last_connection = event.connection;
    }
    const int raised = equipment.numbers_raised();
    if (last != first_number + raised - 1)
        result.findings.push_back("the last event is " + std::to_string(first_number + raised - 1) +
                                  ", but " + std::to_string(last) + " came last");
    result.figures.push_back("numbered events raised " + std::to_string(raised) + ", received " +
                             std::to_string(seen.size()) + ", lost in flight " + std::to_string(lost) +
                             ", twice " + std::to_string(twice) + ", reordered " + std::to_string(reordered));
}

void tell(const support::FaultCounts& counts, const Equipment& equipment, const FaultHost& host,
          RunResult& result) {
    result.figures.push_back("network: " + std::to_string(counts.connections) + " connections, " +
                             std::to_string(counts.cuts) + " cuts, " + std::to_string(counts.flips) +
                             " flipped bytes, " + std::to_string(counts.freezes) + " freezes, " +
                             std::to_string(counts.splits) + " splits, " + std::to_string(counts.merges) +
                             " merges, " + std::to_string(counts.delays) + " delays");
    auto outcomes = host.outcomes();
    result.figures.push_back("host primaries: " + std::to_string(outcomes[Outcome::answered]) +
                             " answered, " + std::to_string(outcomes[Outcome::cut]) + " ended by a cut, " +
                             std::to_string(outcomes[Outcome::unanswered]) + " unanswered");
    result.figures.push_back("equipment primaries received: " + std::to_string(host.primaries_received()) +
                             "; answers the equipment missed: " + std::to_string(equipment.answers_missed()));
}

}  // namespace

RunResult run(const RunOptions& options) {
    RunResult result;
    Equipment equipment(options.seed);
    support::FaultProxy proxy(equipment.port(), plan_of(options));
    FaultHost host(proxy.port(), 10s);
    if (!host.wait_selected(10s)) {
        result.findings.push_back("the host was not selected at the start");
        return result;
    }
    host.ask("S1F13 W <L>.");
    host.ask("S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>.");

    std::mt19937 query_random(static_cast<std::uint32_t>(options.seed) + 1);
    std::mt19937 define_random(static_cast<std::uint32_t>(options.seed) + 2);
    std::mt19937 command_random(static_cast<std::uint32_t>(options.seed) + 3);
    std::mt19937 cut_random(static_cast<std::uint32_t>(options.seed) + 4);
    int carrier = 0;
    {
        Workers workers;
        workers.start([&] { equipment.raise_numbered(); }, 5ms);
        workers.start([&] { ask_one_of(host, query_random, queries); }, 5ms);
        workers.start([&] { ask_one_of(host, define_random, redefinitions); }, 10ms);
        workers.start([&] { ask_one_of(host, command_random, commands); }, 50ms);
        workers.start(
            [&] {
                ++carrier;
                Equipment::post("EQUIPMENT_STATE " + std::to_string(1 + carrier % 11));
                Equipment::post(carrier % 2 == 0 ? "SEND_ALARM_POST 1001" : "SEND_ALARM_CLEAR 1001");
            },
            20ms);
        const auto start = Clock::now();
        for (int cut = 1; cut <= options.cuts; ++cut) {
            std::this_thread::sleep_until(start + options.length * cut / (options.cuts + 1));
            proxy.cut_now(cut_random() % 2 == 0);
        }
        std::this_thread::sleep_until(start + options.length);
        proxy.calm();
        if (options.flips > 0) proxy.cut_now(true);  // what a flipped length byte still waits for
    }
    if (!host.wait_selected(10s)) result.findings.push_back("the host does not come back");
    const auto patient_until = Clock::now() + 60s;
    while (equipment.queue_length() > 0 && Clock::now() < patient_until) std::this_thread::sleep_for(20ms);
    if (equipment.queue_length() > 0) result.findings.push_back("the send queue does not empty");
    tell(proxy.counts(), equipment, host, result);
    if (options.flips > 0) {
        const auto start = Clock::now();
        const auto asked = host.ask("S1F1 W.");
        if (!asked || asked->outcome != Outcome::answered || Clock::now() - start > 2s)
            result.findings.push_back("a good host is not served after the flips");
        return result;
    }
    compare(equipment, host, result);
    for (const std::string& sml : host.unanswered()) result.findings.push_back("unanswered: " + sml);
    return result;
}

}  // namespace faults
