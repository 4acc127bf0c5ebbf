#include "apps/equipment/logs.h"

#include <string_view>
#include <utility>

#include "hsms/driver/driver_config.h"
#include "sim/controller/calls.h"
#include "sim/controller/system_log.h"

namespace equipment {

namespace {

hsms::LogFileOptions options(const std::filesystem::path& path) {
    hsms::LogFileOptions result;
    result.path = path.string();
    return result;
}

// Never rotated: a journal is read as a whole.
hsms::LogFileOptions journal_options(const std::filesystem::path& path) {
    hsms::LogFileOptions result = options(path);
    result.rotate_bytes = hsms::never_rotate;
    return result;
}

}  // namespace

Logs::Logs(const std::filesystem::path& folder, bool journal, std::vector<std::string> allowed_hosts)
    : system_(options(folder / "system.log")) {
    sim::set_system_log_sink([this](Talwen::LOG_TYPE, std::string_view text) { system_.entry(text); });
    hsms::DriverOptions driver;
    driver.online_log = (folder / "online.log").string();
    driver.allowed_hosts = std::move(allowed_hosts);
    if (journal) {
        calls_ = std::make_unique<hsms::LogFile>(journal_options(folder / "calls.log"));
        sim::set_journal_sink([this](std::string_view line) { calls_->line(line); });
        driver.journal = [](std::string_view line) { sim::journal(line); };
    }
    hsms::set_driver_options(std::move(driver));
}

Logs::~Logs() {
    hsms::set_driver_options({});
    sim::set_journal_sink(nullptr);
    sim::set_system_log_sink(nullptr);
}

std::string Logs::flush() {
    std::string problem = hsms::flush_online_log();
    for (hsms::LogFile* const log : {&system_, calls_.get()}) {
        if (log == nullptr) continue;
        const std::string its_own = log->flush();
        if (problem.empty()) problem = its_own;
    }
    return problem;
}

}  // namespace equipment
