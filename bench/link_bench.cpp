#include "bench/link_bench.h"

#include <array>
#include <chrono>

#include "bench/host_client.h"
#include "bench/statistics.h"
#include "hsms/core/wire.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t status_items = 100;
constexpr double largest_s1f1_ratio = 1.3;
constexpr double largest_s1f3_ratio = 2.0;

/// Round trips of one request in microseconds, by round: the median of each and the mean of each.
struct Series {
    std::vector<double> medians;
    std::vector<double> means;
};

void run_round(FrameClient& client, Request& request, int exchanges, Series* series) {
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(exchanges));
    for (int i = 0; i < exchanges; ++i) {
        const auto start = Clock::now();
        exchange(client, request);
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    if (series == nullptr) return;
    series->means.push_back(mean(times));
    series->medians.push_back(median(std::move(times)));
}

double ratio_of(const std::vector<double>& values, const std::vector<double>& baselines) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < values.size(); ++i) ratios.push_back(values[i] / baselines[i]);
    return median(std::move(ratios));
}

/// One kind of exchange: the equipment, and an echo connection of the same sizes.
struct Comparison {
    std::string name;
    Request request;
    FrameClient& equipment;
    FrameClient echo;
    double target;
    Series at_equipment{};
    Series at_echo{};

    Comparison(std::string name_, Request request_, FrameClient& equipment_, std::uint16_t echo_port,
               double target_)
        : name(std::move(name_)),
          request(std::move(request_)),
          equipment(equipment_),
          echo(echo_port),
          target(target_) {
        const std::size_t reply_size = exchange(equipment, request).size;
        std::array<char, 8> sizes{};
        hsms::store_big_endian(sizes.data(), request.frame.size(), 4);
        hsms::store_big_endian(sizes.data() + 4, reply_size, 4);
        echo.send({sizes.data(), sizes.size()});
        name += " (" + std::to_string(request.frame.size()) + " -> " + std::to_string(reply_size) + " bytes)";
    }

    void run(int exchanges, bool warm_up) {
        run_round(echo, request, exchanges, warm_up ? nullptr : &at_echo);
        run_round(equipment, request, exchanges, warm_up ? nullptr : &at_equipment);
    }

    void append_rows(std::vector<Row>& rows) const {
        rows.push_back({name, median(at_equipment.medians), "us", median(at_echo.medians),
                        ratio_of(at_equipment.medians, at_echo.medians), target});
        rows.push_back({name + ", means", median(at_equipment.means), "us", median(at_echo.means),
                        ratio_of(at_equipment.means, at_echo.means), std::nullopt});
    }
};

}  // namespace

LinkBenchResult run_link_bench(const LinkBenchOptions& options) {
    FrameClient equipment(options.equipment_port);
    bring_on_line(equipment);
    Request status = status_request(options.svid_file, status_items);
    LinkBenchResult result;
    result.status_body = exchange(equipment, status).body;

    std::array<Comparison, 2> comparisons{
        Comparison("S1F1", Request::primary(1, 1, {}), equipment, options.echo_port, largest_s1f1_ratio),
        Comparison("S1F3 of 100", status, equipment, options.echo_port, largest_s1f3_ratio)};
    for (int round = -1; round < options.rounds; ++round)
        for (Comparison& comparison : comparisons) comparison.run(options.exchanges, round < 0);
    for (const Comparison& comparison : comparisons) comparison.append_rows(result.rows);
    return result;
}

}  // namespace bench
