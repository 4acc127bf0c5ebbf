#include "config_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "fa/config/alarm_table.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/module/module_state.h"
#include "fa/secs/spool_table.h"
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

}  // namespace

void Config_Test::forget_tables() {
    Talwen::SVID_List.clear();
    Talwen::ECID_List.clear();
    Talwen::RVID_List.clear();
    Talwen::DVID_List.clear();
    Talwen::ALID_List.clear();
    Talwen::RPTID_List.clear();
    Talwen::CEID_List.clear();
    Talwen::TRID_List.clear();
    Talwen::TMSG_List.clear();
    Talwen::QFA_Clear_Spool_Table();
    Talwen::Comm_New_Version = true;
}

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

std::string listed(std::string_view list) {
    Texts all;
    const auto text = [](int number) { return std::to_string(number); };
    const auto links = [&](const std::vector<int>& numbers) {
        std::string joined;
        for (const int number : numbers) joined += (joined.empty() ? "" : ",") + text(number);
        return " [" + joined + "] ";
    };
    if (list == "RPTID")
        for (const auto& r : Talwen::RPTID_List.all())
            all.push_back(text(r->DATAID) + ' ' + text(r->RPTID) + links(r->LINKVID) + r->description);
    if (list == "CEID")
        for (const auto& e : Talwen::CEID_List.all())
            all.push_back(text(e->DATAID) + ' ' + text(e->CEID) + (e->enable ? "" : " disabled") +
                          links(e->LINKRPTID) + e->event_name + '|' + e->description);
    if (list == "TRID")
        for (const auto& t : Talwen::TRID_List.all())
            all.push_back(text(t->TRID) + ' ' + t->DSPER + '=' + text(t->period) + ' ' + text(t->TOTSMP) +
                          ' ' + text(t->REPGSZ) + links(t->LINKSVID) + t->description);
    if (list == "TMSG")
        for (const auto& [tid, m] : Talwen::TMSG_List) all.push_back(text(tid) + ' ' + m.TMESSAGE);
    if (list == "SPOOLING")
        for (int s = 0; s < 128; ++s)
            for (int f = 0; f < 256; ++f)
                if (Talwen::QFA_Get_Spool_Enable(s, f)) all.push_back(text(s) + ',' + text(f));
    std::string joined;
    for (const std::string& record : all) joined += (joined.empty() ? "" : "; ") + record;
    return joined;
}

}  // namespace fa_test
