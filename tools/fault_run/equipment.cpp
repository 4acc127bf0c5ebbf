#include "tools/fault_run/equipment.h"

#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "fa/secs/message_queue.h"
#include "hsms/driver/driver_config.h"
#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/file_layer.h"
#include "sim/controller/system_log.h"
#include "sim/machine/machine.h"
#include "tools/fault_run/event_record.h"

namespace faults {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

using Lines = std::initializer_list<std::pair<std::string, std::string>>;

/// Replaces the first line that begins with each of the keys.
void change(const fs::path& file, const Lines& lines) {
    std::ostringstream in;
    in << '\n' << std::ifstream(file, std::ios::binary).rdbuf();
    std::string text = in.str();
    for (const auto& [key, line] : lines) {
        const std::size_t at = text.find("\n" + key);
        if (at == std::string::npos) throw std::runtime_error(file.string() + ": no line begins with " + key);
        text.replace(at + 1, text.find('\n', at + 1) - at - 1, line);
    }
    std::ofstream(file, std::ios::binary) << text.substr(1);
}

fs::path copy_of(const fs::path& data, int seed) {
    if (!fs::is_regular_file(data / "machine.toml"))
        throw std::runtime_error(data.string() + ": no data folder, it has no machine.toml");
    std::random_device random;
    const fs::path folder =
        fs::temp_directory_path() / ("fa-fault-run-" + std::to_string(random()) + std::to_string(random()));
    fs::copy(data, folder, fs::copy_options::recursive);
    change(folder / "machine.toml", {{"moving =", "moving = true"},
                                     {"speed =", "speed = 500.0"},
                                     {"fetch_after =", "fetch_after = 30.0"},
                                     {"seed =", "seed = " + std::to_string(seed)},
                                     {"alarm_rate =", "alarm_rate = 0.05"}});
    change(folder / "Z" / "FA" / "FA_SAVE.inf", {{"COMM_PORT", "COMM_PORT 0"},
                                                 {"T0_PRM", "T0_PRM 2"},
                                                 {"T5_PRM", "T5_PRM 1"},
                                                 {"T6_PRM", "T6_PRM 1"},
                                                 {"T7_PRM", "T7_PRM 1"}});
    return folder;
}

template <class Condition>
bool within(std::chrono::milliseconds limit, const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

}  // namespace

Equipment::Equipment(const fs::path& data, int seed)
    : folder_(copy_of(data, seed)), next_number_(first_number) {
    listen_to_module();
    try {
        start();
    } catch (...) {
        stop();
        throw;
    }
}

Equipment::~Equipment() {
    stop();
}

void Equipment::listen_to_module() {
    sim::set_console_sink([this](const sim::ConsoleLine& line) {
        if (line.text.find("等待主机应答超时") != std::string::npos) ++answers_missed_;
    });
    sim::set_system_log_sink([this](Talwen::LOG_TYPE, std::string_view text) {
        if (text.find("执行失败") == std::string_view::npos) return;
        const std::lock_guard lock(posted_mutex_);
        if (!posted_.empty() && text.find(posted_) != std::string_view::npos) refused_ = true;
    });
}

void Equipment::start() {
    sim::set_data_folder(folder_);
    sim::machine().load_file(folder_ / "machine.toml");
    hsms::DriverOptions driver;
    driver.online_log = (folder_ / "online.log").string();
    hsms::set_driver_options(driver);
    module_ = std::make_unique<Talwen::BC_FA>();
    runner_ = std::make_unique<sim::ModuleRunner>(*module_);
    if (!runner_->start()) throw std::runtime_error("the module did not start: " + runner_->enter_fault());
    if (!within(30s, [] { return hsms::link_status().state != "stopped"; }))
        throw std::runtime_error("the equipment does not listen; " + (keep_folder() / "online.log").string() +
                                 " may say why");
}

void Equipment::stop() {
    runner_.reset();
    module_.reset();
    sim::set_system_log_sink(nullptr);
    sim::set_console_sink(nullptr);
    hsms::set_driver_options({});
    std::error_code ignored;
    if (!kept_) fs::remove_all(folder_, ignored);
}

std::uint16_t Equipment::port() const {
    return hsms::link_status().port;
}

const fs::path& Equipment::keep_folder() {
    kept_ = true;
    return folder_;
}

void Equipment::raise_numbered() {
    const std::string text = raise_command(next_number_);
    {
        const std::lock_guard lock(posted_mutex_);
        posted_ = text;
        refused_ = false;
    }
    if (const auto reason = sim::post_event_and_wait(text))
        fault_ = *reason;
    else if (!refused_)
        ++next_number_;
}

void Equipment::post(const std::string& text) {
    sim::post_event(text);
}

bool Equipment::sends_all(std::chrono::milliseconds limit) const {
    return within(limit, [] { return Talwen::QFA_Message_Queue_Length() == 0; });
}

}  // namespace faults
