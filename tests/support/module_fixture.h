// One module object over the simulated controller and the fake driver, fresh for every test or table row.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "fa/config/alarm_table.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/handler_routes.h"
#include "fa/secs/spool_table.h"
#include "hsms/core/item_codec.h"
#include "sim/calls.h"
#include "sim/clock.h"
#include "sim/console.h"
#include "sim/machine.h"
#include "sml/reader.h"
#include "support/fake_driver.h"

namespace fake {

class ModuleFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::set_console_sink([this](const sim::ConsoleLine& line) { console.push_back(line.text); });
        sim::set_sleep_scale(0.01);
        start_over();
    }

    void TearDown() override {
        module.reset();
        sim::set_console_sink(nullptr);
        sim::machine().reset();
    }

    /// A fresh machine, module, driver and tables; `toml` is appended to the machine's [tool] section.
    void start_over(const std::string& toml = "") {
        module.reset();
        sim::machine().load_text("[tool]\nmodel = \"CT-200\"\nrevision = \"1.0.0\"\nreact = false\n" + toml);
        sim::reset_calls();
        console.clear();
        driver().reset();
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
        Talwen::Reconnect = false;
        module = std::make_unique<Talwen::BC_FA>();
    }

    /// Calls the handler of a message written in SML, past the state gate.
    unsigned long sml_call(const std::string& text, unsigned long msgid = 7000) {
        const sml::Message message = sml::parse_message(text);
        std::string body;
        if (message.body) hsms::encode_item(*message.body, body);
        Talwen::_SECS_ITEM item;
        Talwen::SecsInitItem(&item);
        Talwen::SecsItemLoadBuffer(&item, body.data(), static_cast<int>(body.size()));
        const Talwen::Message_Handler handler = Talwen::Find_Handler(message.stream, message.function);
        return (module.get()->*handler)(nullptr, &item, msgid);
    }

    /// "name=value" pairs separated by blanks: GEM points, FA states where the name begins with "fa:".
    static void set_states(const std::string& pairs) {
        std::size_t at = 0;
        while (at < pairs.size()) {
            const std::size_t end = std::min(pairs.find(' ', at), pairs.size());
            const std::string pair = pairs.substr(at, end - at);
            const std::size_t equals = pair.find('=');
            const std::string name = pair.substr(0, equals);
            const std::string value = pair.substr(equals + 1);
            if (name.starts_with("fa:"))
                sim::machine().set_fa(name.substr(3), value);
            else
                sim::machine().set_gem(name, value);
            at = end + 1;
        }
    }

    static int gem(const std::string& name) { return std::stoi(sim::machine().gem(name)); }
    static int fa(const std::string& name) { return std::stoi(sim::machine().fa(name)); }
    static unsigned long long calls(const std::string& operation) {
        return sim::calls(operation).value().count;
    }

    /// The control-state events asked for so far, joined by a blank.
    static std::string report_events() {
        std::string joined;
        for (const char* event : {"ONLINE_LOCAL", "ONLINE_REMOTE", "EQUIP_OFFLINE", "HOST_OFFLINE"})
            for (auto n = calls(std::string("QFA_Report_Event_") + event); n > 0; --n)
                joined += (joined.empty() ? "" : " ") + std::string(event);
        return joined;
    }

    std::unique_ptr<Talwen::BC_FA> module;
    std::vector<std::string> console;
};

}  // namespace fake
