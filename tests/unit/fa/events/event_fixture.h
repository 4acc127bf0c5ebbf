// A module on line in a tool of three load ports and two process modules, whose builders note what they are
// given.
#pragma once

#include <functional>

#include "fa/secs/message_queue.h"
#include "sim/testing/capture.h"
#include "support/module_fixture.h"

namespace fake {

inline const std::string event_tool =
    "[[carrier_module]]\nname='LP1'\nslots=3\n[[carrier_module]]\nname='LP2'\nslots=2\n"
    "[[carrier_module]]\nname='LP3'\nslots=0\n"
    "[[process_module]]\nname='PM1'\nid='PM1-ETCH'\n[[process_module]]\nname='PM2'\nid='PM2-STRIP'\n"
    "[[string]]\nname='CM2.ReadCID'\nvalue='RC2'\n[[string]]\nname='CM2.LotID'\nvalue='LOT2'\n"
    "[[string]]\nname='CM2.PPID'\nvalue='PP2'\n[[digital]]\nname='AccessModeStatus2'\nvalue=1\n" +
    alarms("500 0 no level, 1001 3 Door open");

class EventFixture : public ModuleFixture {
  public:
    using Params = Texts;

    /// What each builder was given, in order, after the message's name: {"S6F11", "10101"}.
    std::vector<Params> built;
    /// Called by the builder of S6F11 with the event's number.
    std::function<void(const std::string&)> on_report;

  protected:
    class Module : public Talwen::BC_FA {
      public:
        explicit Module(EventFixture& owner) : owner_(owner) {}
        Talwen::_SECS_ITEM* send_S06F11(void*, void* param) override { return note("S6F11", param); }
        Talwen::_SECS_ITEM* send_S05F01(void*, void* param) override { return note("S5F1", param); }
        Talwen::_SECS_ITEM* send_S01F13(void*, void* param) override { return note("S1F13", param); }
        Talwen::_SECS_ITEM* send_S02F17(void*, void* param) override { return note("S2F17", param); }

      private:
        Talwen::_SECS_ITEM* note(const char* name, void* param) {
            Params all = *static_cast<Params*>(param);
            if (owner_.on_report && name == std::string("S6F11")) owner_.on_report(all.at(0));
            all.insert(all.begin(), name);
            owner_.built.push_back(all);
            return Talwen::SecsCreateItemAscii(name);
        }
        EventFixture& owner_;
    };

    void SetUp() override {
        ModuleFixture::SetUp();
        begin();
    }
    void TearDown() override {
        Talwen::QFA_Message_Clear();
        ModuleFixture::TearDown();
    }

    void begin() {
        start_over(event_tool);
        module.reset();
        module = std::make_unique<Module>(*this);
        module->QProgram_Enter_Code("");
        console.clear();
        set_states("Comm_Enable=1 Online_Status=1 fa:LinkMD=3 fa:CtrlMD=2");
        forget();
    }
    void forget() {
        sim::reset_calls();
        fake::driver().reset();
        system_log.clear();
        built.clear();
        Talwen::QFA_Message_Clear();
    }

    /// The events raised by one command, joined by a blank.
    std::string raised_by(const std::string& command) {
        forget();
        module->QProgram_Event_Code(command.c_str());
        std::string joined;
        for (const Params& entry : built)
            joined += (joined.empty() ? "" : " ") + (entry[0] == "S6F11" ? entry.at(1) : entry[0]);
        return joined;
    }

    Texts logged() const {
        Texts lines;
        for (const sim::SystemLogLine& line : system_log.lines())
            lines.push_back(std::to_string(line.type) + " " + line.text);
        return lines;
    }

    sim::SystemLogCapture system_log;
};

}  // namespace fake
