#include "bench/step_bench.h"

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "bench/bench_machine.h"
#include "bench/host_client.h"
#include "bench/statistics.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double largest_ratio = 2.0;

/// The equipment's command line.
class Commands {
  public:
    Commands(const std::string& commands, const std::string& answers) : in_(commands), out_(answers) {
        if (!in_ || !out_) throw std::runtime_error("the equipment's command line cannot be opened");
    }
    /// Queues event 1 so many times, and returns when that is done.
    void queue_reports(int count) {
        in_ << "repeat " << count << " event SEND_PRIMIRY S6F11|1" << std::endl;
        for (std::string line; !line.starts_with("= ok");) {
            if (std::getline(out_, line)) continue;
            out_.clear();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

  private:
    std::ofstream in_;
    std::ifstream out_;
};

/// The next S6F11; other primaries are answered on the way.
Frame next_report(FrameClient& client) {
    for (;;) {
        const Frame frame = client.receive();
        if (frame.header.stream() == 6 && frame.header.function() == 11) return frame;
        if (frame.header.type() == hsms::SType::data && frame.header.wbit())
            answer_primary(client, frame.header);
    }
}

/// Microseconds of each step, from one S6F12 to the next S6F11.
std::vector<double> run_steps(FrameClient& client, const hsms::Header& first, int steps) {
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(steps));
    hsms::Header report = first;
    for (int i = 0; i < steps; ++i) {
        const auto start = Clock::now();
        answer_primary(client, report);
        report = next_report(client).header;
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    answer_primary(client, report);
    return times;
}

}  // namespace

void write_step_machine(const std::string& folder) {
    write_machine(folder, {20, 1, 1, 20});
}

std::vector<Row> run_step_bench(const StepBenchOptions& options) {
    FrameClient equipment(options.equipment_port);
    bring_on_line(equipment);
    Request go_on_line = Request::primary(1, 17, {});
    exchange(equipment, go_on_line);
    Commands commands(options.commands, options.answers);
    // The first report goes out at once and waits for its S6F12 while the others are queued.
    const auto fill = [&](int count) {
        commands.queue_reports(count);
        return next_report(equipment);
    };
    Frame report = fill(1);
    const std::string message = make_frame(report.header, report.body);
    answer_primary(equipment, report.header);
    FrameClient canned(options.canned_port);
    canned.send(message);
    hsms::Header canned_report = next_report(canned).header;

    std::vector<double> times, yards, ratios, mean_times, mean_yards, mean_ratios;
    for (int round = -1; round < options.rounds; ++round) {
        const auto yard = run_steps(canned, canned_report, options.steps);
        canned_report = next_report(canned).header;
        const auto time = run_steps(equipment, fill(options.steps + 1).header, options.steps);
        if (round < 0) continue;  // warm-up
        yards.push_back(median(yard));
        times.push_back(median(time));
        ratios.push_back(times.back() / yards.back());
        mean_yards.push_back(mean(yard));
        mean_times.push_back(mean(time));
        mean_ratios.push_back(mean_times.back() / mean_yards.back());
    }
    const std::string name =
        "S6F12 to the next S6F11 of 20 values (" + std::to_string(message.size()) + " bytes)";
    return {
        {name, median(times), "us", median(yards), median(ratios), largest_ratio},
        {name + ", means", median(mean_times), "us", median(mean_yards), median(mean_ratios), std::nullopt},
    };
}

}  // namespace bench
