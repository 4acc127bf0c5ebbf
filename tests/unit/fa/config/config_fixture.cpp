#include "config_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "fa/config/alarm_table.h"
#include "fa/config/variable_tables.h"
#include "fa/module/module_state.h"
#include "sim/console.h"
#include "sim/file_layer.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

constexpr char machine_toml[] = R"(
[[digital]]
name = "Door"
min = 0
max = 1
[[digital]]
name = "Valve"
min = -1
max = 3
unit = "pos"
[[analog]]
name = "Temp"
min = -5.5
max = 250.25
unit = "℃"
decimals = 2
[[analog]]
name = "Flow"
min = 0.0
max = 30.0
unit = "slm"
decimals = 1
[[string]]
name = "Lot"
[[function]]
name = "Run"
[[digital]]
name = "NNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNN"
)";

std::string without_code_line(std::string text) {
    const std::size_t colon = text.rfind(':');
    if (text.find("[代码行:") != std::string::npos && colon + 1 < text.size() - 1 && text.back() == ']' &&
        text.find_first_not_of("0123456789", colon + 1) == text.size() - 1)
        text.replace(colon + 1, text.size() - colon - 2, "#");
    return text;
}

void forget_tables() {
    Talwen::SVID_List.clear();
    Talwen::ECID_List.clear();
    Talwen::RVID_List.clear();
    Talwen::DVID_List.clear();
    Talwen::ALID_List.clear();
    Talwen::Comm_New_Version = true;
}

}  // namespace

Config_Test::Config_Test() {
    std::string name = (std::filesystem::temp_directory_path() / "fa-config-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    forget_tables();
    sim::set_data_folder(folder_);
    sim::machine().load_text(machine_toml);
    sim::set_console_sink([this](const sim::ConsoleLine& line) {
        constexpr std::string_view letters = "-rgybc";
        const char letter = letters[static_cast<std::size_t>(line.colour)];
        printed_.push_back(without_code_line(std::string(1, letter) + ' ' + line.text));
    });
}

Config_Test::~Config_Test() {
    sim::set_console_sink(nullptr);
    sim::close_open_files();
    sim::machine().reset();
    sim::set_data_folder(".");
    forget_tables();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void Config_Test::write(const std::string& path, std::string_view bytes) {
    const std::filesystem::path target = folder_ / path;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream file(target, std::ios::binary);
    file << bytes;
    ASSERT_TRUE(file.flush()) << target;
}

std::string Config_Test::read(const std::string& path) const {
    std::ifstream file(folder_ / path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Config_Test::printed() {
    return std::exchange(printed_, {});
}

}  // namespace fa_test
