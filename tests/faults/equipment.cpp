#include "equipment.h"

#include <chrono>
#include <fstream>
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

namespace faults {

namespace {

void replace_line(std::string& text, const std::string& key, const std::string& line) {
    const std::size_t at = text.find("\n" + key);
    if (at == std::string::npos) throw std::runtime_error("the demo machine has no line " + key);
    text.replace(at + 1, text.find('\n', at + 1) - at - 1, line);
}

void change(const std::filesystem::path& file,
            std::initializer_list<std::pair<const char*, std::string>> lines) {
    std::ostringstream in;
    in << '\n' << std::ifstream(file, std::ios::binary).rdbuf();
    std::string text = in.str();
    for (const auto& [key, line] : lines) replace_line(text, key, line);
    std::ofstream(file, std::ios::binary) << text.substr(1);
}

void prepare(const std::filesystem::path& folder, int seed) {
    std::filesystem::copy(FA_DEMO_MACHINE, folder, std::filesystem::copy_options::recursive);
    change(folder / "machine.toml", {{"moving =", "moving = true"},
                                     {"speed =", "speed = 500.0"},
                                     {"seed =", "seed = " + std::to_string(seed)},
                                     {"alarm_rate =", "alarm_rate = 0.05"}});
    change(folder / "Z" / "FA" / "FA_SAVE.inf", {{"COMM_PORT", "COMM_PORT 0"},
                                                 {"T0_PRM", "T0_PRM 2"},
                                                 {"T5_PRM", "T5_PRM 1"},
                                                 {"T6_PRM", "T6_PRM 1"},
                                                 {"T7_PRM", "T7_PRM 1"}});
}

}  // namespace

Equipment::Equipment(int seed) {
    prepare(folder_.path(), seed);
    sim::set_data_folder(folder_.path());
    sim::machine().load_file(folder_.path() / "machine.toml");
    sim::set_console_sink([this](const sim::ConsoleLine& line) {
        if (line.text.find("等待主机应答超时") != std::string::npos) ++answers_missed_;
    });
    sim::set_system_log_sink([this](Talwen::LOG_TYPE, std::string_view text) {
        if (text.find("执行失败") == std::string_view::npos) return;
        const std::lock_guard lock(posted_mutex_);
        if (!posted_.empty() && text.find(posted_) != std::string_view::npos) refused_ = true;
    });
    hsms::DriverOptions driver;
    driver.online_log = (folder_.path() / "online.log").string();
    hsms::set_driver_options(driver);
    module_ = std::make_unique<Talwen::BC_FA>();
    runner_ = std::make_unique<sim::ModuleRunner>(*module_);
    if (!runner_->start()) throw std::runtime_error("the module did not start: " + runner_->enter_fault());
    const auto patient_until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (hsms::link_status().state == "stopped") {
        if (std::chrono::steady_clock::now() > patient_until) throw std::runtime_error("the link is not up");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

Equipment::~Equipment() {
    runner_->stop();
    runner_.reset();
    module_.reset();
    sim::set_system_log_sink(nullptr);
    sim::set_console_sink(nullptr);
    hsms::set_driver_options({});
}

std::uint16_t Equipment::port() const {
    return hsms::link_status().port;
}

bool Equipment::raise_numbered() {
    const std::string text = "ALARM_REPORT 1|" + std::to_string(next_number_) + "|0|numbered";
    {
        const std::lock_guard lock(posted_mutex_);
        posted_ = text;
        refused_ = false;
    }
    if (const auto reason = sim::post_event_and_wait(text)) throw std::runtime_error("event: " + *reason);
    if (refused_) return false;
    ++next_number_;
    return true;
}

void Equipment::post(const std::string& text) {
    sim::post_event(text);
}

std::size_t Equipment::queue_length() const {
    return Talwen::QFA_Message_Queue_Length();
}

}  // namespace faults
