#include "bench/memory_bench.h"

#include <fstream>
#include <stdexcept>

#include "bench/host_client.h"

namespace bench {
namespace {

constexpr int warm_exchanges = 10'000;
constexpr int last_exchange = 200'000;
constexpr double largest_resident_mb = 20;
constexpr double largest_growth_mb = 1;

double resident_mb(int pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) return kilobytes / 1024;
    }
    throw std::runtime_error("no VmRSS of process " + std::to_string(pid));
}

}  // namespace

std::vector<Row> run_memory_bench(const MemoryBenchOptions& options) {
    FrameClient client(options.equipment_port);
    bring_on_line(client);
    const double selected = resident_mb(options.equipment_pid);

    Request status = status_request(options.svid_file, 100);
    double warm = 0;
    for (int i = 1; i <= last_exchange; ++i) {
        exchange(client, status);
        if (i == warm_exchanges) warm = resident_mb(options.equipment_pid);
    }
    const double last = resident_mb(options.equipment_pid);
    return {
        {"resident set after select, on-line", selected, "MB", std::nullopt, std::nullopt,
         largest_resident_mb},
        {"resident set after 10,000 S1F3 of 100", warm, "MB", std::nullopt, std::nullopt, std::nullopt},
        {"resident set after 200,000 S1F3 of 100", last, "MB", std::nullopt, std::nullopt, std::nullopt},
        {"growth from the 10,000th to the 200,000th", last - warm, "MB", std::nullopt, std::nullopt,
         largest_growth_mb},
    };
}

}  // namespace bench
