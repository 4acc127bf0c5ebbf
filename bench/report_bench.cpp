#include "bench/report_bench.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/bench_machine.h"
#include "bench/host_client.h"
#include "bench/statistics.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/primaries.h"
#include "fa/secs/secs_driver.h"
#include "hsms/core/wire.h"
#include "hsms/driver/driver_config.h"
#include "sim/controller/console.h"
#include "sim/controller/file_layer.h"
#include "sim/controller/module_runner.h"
#include "sim/machine/machine.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int burst = 20'000;
constexpr int rounds = 9;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void use_machine(const std::filesystem::path& folder, const MachineSize& size) {
    write_machine(folder, size);
    sim::set_data_folder(folder);
    sim::machine().load_file(folder / "machine.toml");
    Talwen::SVID_List.clear();
    Talwen::RVID_List.clear();
    Talwen::RPTID_List.clear();
    Talwen::CEID_List.clear();
}

void queue_report(int ceid) {
    std::string text = std::to_string(ceid);
    if (!Talwen::QFA_Message_PushBack(6, 11, &text, nullptr, nullptr, nullptr, nullptr))
        throw std::runtime_error("event " + text + " could not be queued; log/online.log says why");
}

/// Microseconds for one report, built and queued `count` times while nothing sends.
double queuing_cost(int ceid, int count) {
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) queue_report(ceid);
    const double cost = seconds_since(start) * 1e6 / count;
    Talwen::QFA_Message_Clear();
    return cost;
}

/// A client of the echo server whose messages have these sizes.
class Yardstick {
  public:
    Yardstick(std::uint16_t port, std::size_t request, std::size_t reply)
        : client_(port), request_(Request::primary(6, 11, std::string(request - 14, 'x'))) {
        std::array<char, 8> sizes{};
        hsms::store_big_endian(sizes.data(), request, 4);
        hsms::store_big_endian(sizes.data() + 4, reply, 4);
        client_.send({sizes.data(), sizes.size()});
    }
    /// Seconds for so many exchanges, one after the other.
    double run(int exchanges) {
        const auto start = Clock::now();
        for (int i = 0; i < exchanges; ++i) exchange(client_, request_);
        return seconds_since(start);
    }

  private:
    FrameClient client_;
    Request request_;
};

/// Seconds until the last report of a burst has come; each is answered at once. Sets the size of one.
double run_burst(FrameClient& host, std::size_t* report_size) {
    const auto start = Clock::now();
    std::thread events([] {
        for (int i = 0; i < burst; ++i) queue_report(1);
    });
    for (int received = 0; received < burst;) {
        const Frame frame = host.receive();
        const hsms::Header header = frame.header;
        if (header.type() != hsms::SType::data || !header.wbit()) continue;
        const std::size_t size = frame.size;
        answer_primary(host, header);
        if (header.stream() != 6 || header.function() != 11) continue;
        *report_size = size;
        ++received;
    }
    events.join();
    return seconds_since(start);
}

/// The module's handler of S1F3 for all variables, in microseconds per variable.
double status_cost(Talwen::BC_FA& module, std::size_t variables, int count) {
    std::string body{'\x01', '\x00'};  // <L>
    Talwen::_SECS_ITEM item;
    Talwen::SecsInitItem(&item);
    Talwen::SecsItemLoadBuffer(&item, body.data(), static_cast<int>(body.size()));
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) module.reply_S01F03(nullptr, &item, 1);
    return seconds_since(start) * 1e6 / count / static_cast<double>(variables);
}

struct TableCosts {
    double start_up_s;
    double per_variable_us;  ///< S1F3 of all
    double per_value_us;     ///< S6F11 of 50
};

TableCosts table_costs(const std::filesystem::path& folder, const MachineSize& size) {
    use_machine(folder, size);
    Talwen::BC_FA module;
    const auto start = Clock::now();
    if (!module.QProgram_Enter_Code("")) throw std::runtime_error("entering the module failed");
    TableCosts costs{};
    costs.start_up_s = seconds_since(start);
    const int repeats = static_cast<int>(200'000 / size.variables);
    status_cost(module, size.variables, repeats / 4 + 1);  // warm-up
    costs.per_variable_us = status_cost(module, size.variables, repeats);
    constexpr int reports = 4000;
    double total = 0;
    for (int i = 0; i < reports; ++i) {  // every event in turn, so that no record stays warm by itself
        const int ceid = 1 + i % static_cast<int>(size.events);
        total += queuing_cost(ceid, 1);
    }
    costs.per_value_us = total / reports / static_cast<double>(size.report_variables);
    return costs;
}

}  // namespace

std::vector<Row> run_report_bench(std::uint16_t echo_port, const std::string& folder) {
    sim::set_console_sink([](const sim::ConsoleLine&) {});
    use_machine(folder, {20, 1, 1, 20});
    hsms::DriverOptions driver;
    driver.online_log = folder + "/online.log";
    hsms::set_driver_options(driver);

    std::vector<Row> rows;
    Talwen::BC_FA module;
    sim::ModuleRunner runner(module);
    if (!runner.start()) throw std::runtime_error("entering the module failed: " + runner.enter_fault());
    while (hsms::link_status().state != "listening")
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    FrameClient host(hsms::link_status().port);
    bring_on_line(host);

    std::size_t report_size = 0;
    run_burst(host, &report_size);  // warm-up
    constexpr std::size_t acknowledge_size = 17;
    Yardstick yardstick(echo_port, report_size, acknowledge_size);
    std::vector<double> times, yards, ratios;
    for (int round = 0; round < rounds; ++round) {
        yards.push_back(yardstick.run(burst));
        times.push_back(run_burst(host, &report_size));
        ratios.push_back(times.back() / yards.back());
    }
    rows.push_back({"S6F11 of 20 values in a burst, answered (" + std::to_string(report_size) + " bytes)",
                    median(times) / burst * 1e6, "us", median(yards) / burst * 1e6, median(ratios), 1 / 0.6});
    runner.stop();

    std::vector<double> costs;
    for (int round = 0; round < 5; ++round) costs.push_back(queuing_cost(1, burst));
    rows.push_back({"S6F11 of 20 values built and queued", median(costs), "us", {}, {}, 5.0});
    sim::set_console_sink(nullptr);
    return rows;
}

std::vector<Row> run_table_bench(const std::string& folder) {
    sim::set_console_sink([](const sim::ConsoleLine&) {});
    const std::filesystem::path root = folder;
    hsms::DriverOptions driver;
    driver.online_log = folder + "/online.log";
    hsms::set_driver_options(driver);
    std::vector<double> start_ups, variable_ratios, value_ratios, variables, values, small_variables,
        small_values;
    for (int round = 0; round < rounds; ++round) {
        const TableCosts small = table_costs(root / "small", {100, 100, 100, 50});
        const TableCosts large = table_costs(root / "large", {10'000, 2'000, 2'000, 50});
        start_ups.push_back(large.start_up_s * 1000);
        variables.push_back(large.per_variable_us);
        small_variables.push_back(small.per_variable_us);
        variable_ratios.push_back(large.per_variable_us / small.per_variable_us);
        values.push_back(large.per_value_us);
        small_values.push_back(small.per_value_us);
        value_ratios.push_back(large.per_value_us / small.per_value_us);
    }
    sim::set_console_sink(nullptr);
    return {
        {"Entering with 10,000 variables, 2,000 reports and events", median(start_ups), "ms", {}, {}, 1000.0},
        {"S1F3 of all 10,000, per variable (beside 100)", median(variables), "us", median(small_variables),
         median(variable_ratios), 1.5},
        {"S6F11 of 50 with 2,000 events, per value (beside 100)", median(values), "us", median(small_values),
         median(value_ratios), 1.5},
    };
}

}  // namespace bench
