#include "support/module_fixture.h"

#include <iterator>
#include <regex>

#include "fa/module/handler_routes.h"
#include "fa/module/module_data.h"
#include "hsms/core/item_codec.h"
#include "sml/reader.h"

namespace fake {

namespace {

Texts split(const std::string& text, const std::regex& between) {
    return {std::sregex_token_iterator(text.begin(), text.end(), between, -1), std::sregex_token_iterator()};
}

}  // namespace

std::vector<Texts> rows(const std::string& table, std::size_t columns) {
    std::vector<std::string> lines;
    std::istringstream text(table);
    for (std::string line; std::getline(text, line);)
        if (line.starts_with("  "))
            lines.back() += line.substr(line.find_first_not_of(' ') - 1);
        else if (!line.empty())
            lines.push_back(line);
    std::vector<Texts> all;
    static const std::regex rows_end(" +[|][|] "), columns_end(" *[|]( +|$)| +[|]$"), choices_end(" / ");
    Texts texts;
    for (const std::string& line : lines) std::ranges::move(split(line, rows_end), std::back_inserter(texts));
    for (const std::string& line : texts) {
        Texts row = split(line, columns_end);
        EXPECT_LE(row.size(), columns) << line;
        row.resize(columns);
        const auto choices = std::ranges::find_if(row, [](const auto& c) { return c.find(" / ") != c.npos; });
        if (choices == row.end())
            all.push_back(row);
        else
            for (const std::string& choice : split(std::string(*choices), choices_end)) {
                *choices = choice;
                all.push_back(row);
            }
    }
    return all;
}

std::string with(std::string text, const std::string& word, const std::string& value) {
    const std::string braced = "{" + word + "}";
    for (auto at = text.find(braced); at != std::string::npos; at = text.find(braced, at + value.size()))
        text.replace(at, braced.size(), value);
    return text;
}

std::string replaced(const std::string& text, const std::string& pattern, const std::string& by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

std::string alarms(const std::string& list) {
    std::string toml;
    std::istringstream all(list);
    int id = 0;
    int level = 0;
    for (std::string text; all >> id >> level && std::getline(all >> std::ws, text, ',');)
        toml += "[[alarm]]\nid=" + std::to_string(id) + "\nlevel=" + std::to_string(level) + "\ntext='" +
                text + "'\n";
    return toml;
}

std::string points(const std::string& list) {
    std::string toml;
    std::istringstream all(list);
    for (std::string one; std::getline(all, one, ',');) {
        std::istringstream words(one);
        std::string kind, name, value, unit;
        words >> kind >> name >> value >> unit;
        toml += "[[" + kind + "]]\nname='" + name + "'\nvalue=" + value +
                (unit.empty() ? "\n" : "\nunit='" + unit + "'\n");
    }
    return toml;
}

std::string spooled() {
    std::string text;
    for (int s = 0; s < 128; ++s)
        for (int f = 0; f < 256; ++f)
            if (Talwen::QFA_Get_Spool_Enable(s, f))
                text += (text.empty() ? "" : " ") + std::to_string(s) + "," + std::to_string(f);
    return text;
}

void ModuleFixture::SetUp() {
    sim::set_console_sink([this](const sim::ConsoleLine& line) { console.push_back(line.text); });
    sim::set_sleep_scale(0.01);
    sim::set_data_folder(folder.path());
    start_over();
}

void ModuleFixture::TearDown() {
    module.reset();
    sim::set_console_sink(nullptr);
    sim::set_data_folder(".");
    sim::machine().reset();
}

void ModuleFixture::start_over(const std::string& toml) {
    module.reset();
    sim::machine().load_text("[tool]\nmodel = \"CT-200\"\nrevision = \"1.0.0\"\nreact = false\n" + toml);
    sim::reset_calls();
    console.clear();
    driver().reset();
    load_module();
}

void ModuleFixture::load_module() {
    module.reset();
    Talwen::The_Module_Data().reset();
    module = std::make_unique<Talwen::BC_FA>();
}

unsigned long ModuleFixture::sml_call(const std::string& text, unsigned long msgid) {
    const sml::Message message = sml::parse_message(text);
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    Talwen::_SECS_ITEM item;
    Talwen::SecsInitItem(&item);
    Talwen::SecsItemLoadBuffer(&item, body.data(), static_cast<int>(body.size()));
    const Talwen::Message_Handler handler = Talwen::Find_Handler(message.stream, message.function);
    return (module.get()->*handler)(nullptr, &item, msgid);
}

void ModuleFixture::set_states(const std::string& pairs) {
    std::istringstream words(pairs);
    for (std::string pair; words >> pair;) {
        const std::size_t equals = pair.find('=');
        const std::string name = pair.substr(0, equals);
        const std::string value = pair.substr(equals + 1);
        if (name.starts_with("fa:"))
            sim::machine().set_fa(name.substr(3), value);
        else
            sim::machine().set_gem(name, value);
    }
}

template <class Record>
void ModuleFixture::define(Talwen::Variable_Table<Record>& table, const std::string& records) {
    std::vector<Record> defined;
    std::istringstream all(records);
    for (std::string one; std::getline(all, one, ',');) {
        std::istringstream words(one);
        Record record;
        int type = 0;
        int format = 0;
        words >> record.id >> type >> record.point >> format >> record.min >> record.max >> record.sv_name;
        record.io_type = static_cast<Talwen::IO_TYPE>(type);
        record.format = static_cast<unsigned char>(format);
        record.unit = "u" + std::to_string(record.id);
        defined.push_back(record);
    }
    table.put(defined);
}

template void ModuleFixture::define(Talwen::Variable_Table<Talwen::SVID_STRU>&, const std::string&);
template void ModuleFixture::define(Talwen::Variable_Table<Talwen::ECID_STRU>&, const std::string&);
template void ModuleFixture::define(Talwen::Variable_Table<Talwen::RVID_STRU>&, const std::string&);

std::string ModuleFixture::answer_to(const std::string& message, unsigned long replied) {
    driver().reset();
    const unsigned long result = driver().host_sends(message);
    const std::string reply = driver().replies();
    EXPECT_EQ(result == replied, !reply.empty()) << message << " gave " << result;
    if (!reply.empty()) return reply;
    return result == format_error ? "none" : "=" + std::to_string(result);
}

std::string ModuleFixture::log_of(const std::string& handler) {
    const std::regex place("\\[代码行:Talwen::BC_FA::" + handler + ":[0-9]+\\]");
    std::string text;
    for (const std::string& line : driver().log())
        text += std::regex_search(line, place) ? std::regex_replace(line, place, "@") : line + "~";
    return text;
}

std::string ModuleFixture::queued(unsigned char stream, unsigned char function, Texts p) {
    driver().reset();
    p.resize(5);
    const bool pushed = Talwen::QFA_Message_PushBack(stream, function, &p[0], &p[1], &p[2], &p[3], &p[4]);
    EXPECT_EQ(Talwen::QFA_Message_Queue_Length(), pushed ? 1U : 0U);
    Talwen::FA_Message entry;
    if (!Talwen::QFA_Message_PopFront(&entry)) return "";
    Talwen::QFA_Message_Send(nullptr, &entry);
    Talwen::QFA_Message_RemoveFront();
    return driver().sent().back().sml;
}

std::string ModuleFixture::handler_of(const std::string& message) {
    const sml::Message m = sml::parse_message(message);
    char name[20];
    std::snprintf(name, sizeof name, "%s_S%02dF%02d", m.function % 2 != 0 ? "reply" : "recv", m.stream,
                  m.function);
    return name;
}

std::string ModuleFixture::outcome(const std::string& message, unsigned long replied) {
    const std::string answer = answer_to(message, replied);
    return answer + log_of(handler_of(message));
}

void ModuleFixture::try_all(const std::string& table, const std::function<std::string()>& state,
                            const std::function<void()>& prepare) {
    for (const Texts& row : rows(table, 4)) {
        SCOPED_TRACE(row[0].substr(0, 200));
        prepare();
        EXPECT_EQ(answer_to(row[0]), row[1]);
        EXPECT_EQ(log_of(handler_of(row[0])), row[2]);
        EXPECT_EQ(state(), row[3]);
    }
}

std::string ModuleFixture::states(const std::string& names) {
    std::istringstream words(names);
    std::string text;
    for (std::string name; words >> name;)
        text += (text.empty() ? "" : " ") +
                (name.starts_with("fa:") ? sim::machine().fa(name.substr(3)) : sim::machine().gem(name));
    return text;
}

void ModuleFixture::expect_states(const std::string& pairs) {
    const std::string names = std::regex_replace(pairs, std::regex("=[^ ]*"), "");
    EXPECT_EQ(states(names), std::regex_replace(pairs, std::regex("[^ ]*="), "")) << pairs;
}

int ModuleFixture::gem(const std::string& name) {
    return std::stoi(sim::machine().gem(name));
}

int ModuleFixture::fa(const std::string& name) {
    return std::stoi(sim::machine().fa(name));
}

unsigned long long ModuleFixture::calls(const std::string& operation) {
    return sim::calls(operation).value().count;
}

std::string ModuleFixture::report_events() {
    std::string joined;
    for (const char* event : {"ONLINE_LOCAL", "ONLINE_REMOTE", "EQUIP_OFFLINE", "HOST_OFFLINE"})
        for (auto n = calls(std::string("QFA_Report_Event_") + event); n > 0; --n)
            joined += (joined.empty() ? "" : " ") + std::string(event);
    return joined;
}

}  // namespace fake
