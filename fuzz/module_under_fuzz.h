// The module on the demo machine, over the simulated controller and a driver without sockets.
#pragma once

#include <cstdlib>

#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "sim/controller/calls.h"
#include "sim/controller/clock.h"
#include "sim/controller/console.h"
#include "sim/controller/events.h"
#include "sim/controller/file_layer.h"
#include "sim/machine/machine.h"
#include "support/fake_driver.h"
#include "support/temp_folder.h"

namespace fuzz {

/// The one module of the process, its demo tables loaded from a folder of its own. Prints nothing.
struct Demo {
    support::TempFolder folder;
    std::filesystem::path fa = folder.path() / "Z" / "FA";  ///< what the module sees as Z:\FA
    Talwen::BC_FA module;

    Demo() {
        std::filesystem::copy(FA_DEMO_MACHINE, folder.path(), std::filesystem::copy_options::recursive);
        sim::set_console_sink([](const sim::ConsoleLine&) {});
        sim::set_data_folder(folder.path());
        sim::machine().load_file(folder.path() / "machine.toml");
        sim::set_sleep_scale(0);
        if (!module.QProgram_Enter_Code("")) std::abort();
        Talwen::QFA_Message_Queue_Init();
    }
};

inline Demo& demo() {
    static Demo one;
    return one;
}

/// Link and control states from one byte, and which of the two sides decides: every state of the gate.
inline void set_states(std::uint8_t choice) {
    Talwen::BC_FA& fa = demo().module;
    Talwen::Comm_New_Version = (choice & 1U) != 0;
    fa.QIO_Set_GEM_Comm_Enable((choice >> 1U) & 1U);
    fa.QFA_Set_Enable((choice >> 1U) & 1U);
    fa.QIO_Set_GEM_Online_Status((choice >> 2U) & 1U);
    fa.QFA_Set_LinkMD((choice >> 3U) & 3U);
    fa.QFA_Set_CtrlMD(static_cast<int>(choice >> 5U) % 3);
}

/// What one input left is forgotten: queue, driver calls, call texts.
inline void forget() {
    Talwen::QFA_Message_Clear();
    fake::driver().reset();
    sim::take_posted_events();
    sim::close_open_files();  // a variable file with an unknown type stays open
}

}  // namespace fuzz
