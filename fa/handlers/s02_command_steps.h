// Carrying out a host command (S2F41): a command is a row of steps, checks first, what it does last.
#pragma once

#include <array>
#include <atomic>

#include "fa/handlers/s02_command_parameters.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"

namespace Talwen {

/// The last commanded states, -1 before the first command: lamps red, green, yellow, blue, and the buzzer.
/// Members of Module_Data.
extern std::array<std::atomic<int>, 4>& Signal_Tower_State;
extern std::atomic<int>& Alarm_Buzzer_State;

namespace remote_command {

/// HCACK (SEMI E5); 7 to 9 are this equipment's own.
enum Hcack : unsigned char {
    done = 0,
    unknown_command = 1,
    cannot_now = 2,
    bad_parameter = 3,
    started = 4,
    already_so = 5,
    not_on_line = 7,
    on_line_local = 8,
    nothing_given = 9,
};

/// One command on its way through its steps.
struct Run {
    BC_FA& fa;
    const char* word;  ///< the command's first spelling
    Remote_Request request;
    Hcack hcack = done;

    const char* rcmd() const { return request.rcmd.c_str(); }
    int number(Remote_Parameter parameter) const { return request.number[parameter]; }
    const char* text(Remote_Parameter parameter) const { return request.text[parameter].c_str(); }
    int port() const { return number(CP_PORTID); }
    int cm() const { return port() - 1; }

    bool refuse(Hcack code) {
        hcack = code;
        return false;
    }
    /// HCACK 3, CPACK 2, with the "value invalid" log line.
    bool refuse_value(Remote_Parameter parameter) {
        request.refuse_value(parameter);
        return refuse(bad_parameter);
    }
    /// The same with a log line of the caller's own.
    bool refuse_told(Remote_Parameter parameter) {
        request.flag(parameter, CPACK_Illegal_Value);
        return refuse(bad_parameter);
    }
};

/// A check, or what the command does; false when it refused. Only a command's last step changes anything.
using Step = bool (*)(Run& run);

/// Flags every one of these that was not given.
template <Remote_Parameter... Required>
bool given(Run& run) {
    for (const Remote_Parameter parameter : {Required...})
        if (!run.request.given[parameter]) run.refuse_value(parameter);
    return run.hcack == done;
}

// Checks.
bool port_known(Run& run);            ///< the port is a carrier module's
bool carrier_present(Run& run);       ///< there is a carrier on the port
bool carrier_is_that(Run& run);       ///< and has that id
bool carrier_may_be_that(Run& run);   ///< or its id was not read: the host gives it
bool idle(Run& run);                  ///< the carrier module runs nothing
bool all_idle(Run& run);              ///< no carrier module runs anything
bool running(Run& run);               ///< the carrier module runs
bool wafers_complete(Run& run);       ///< every wafer of the lot has been run
bool access_mode_known(Run& run);     ///< 0 manual, 1 automatic
bool job_named(Run& run);             ///< the job id is possible in a scheduler text
bool recipe_selectable(Run& run);     ///< there is such a lot recipe
bool recipe_runnable(Run& run);       ///< the same, and it is possible in a scheduler text
bool slots_known(Run& run);           ///< first and last slot are slots, in that order
bool wafer_count_of_slots(Run& run);  ///< a wafer count that was given is that of these slots
bool lists_fit_slots(Run& run);       ///< a mark for every slot, no more ids than slots
bool slots_truly_marked(Run& run);    ///< marks and ids only where a wafer is, ids where there is a mark
bool wafer_count_of_map(Run& run);    ///< count and marks are those of the wafers that are there
bool any_lamp(Run& run);              ///< at least one lamp state was given

// What commands do.
bool run_scheduler(Run& run);
bool change_access_mode(Run& run);
bool proceed_with_carrier_id(Run& run);
bool proceed_with_slot_map(Run& run);
bool start_process(Run& run);
bool select_recipe(Run& run);
bool switch_tower(Run& run);
bool switch_buzzer(Run& run);
/// The control state word alone: no GEM status point is written and no control-state event raised, unlike
/// with S1F15 and S1F17.
template <Control_State State>
bool change_control(Run& run) {
    return Switch_Control_State(run.fa, State) || run.refuse(already_so);
}

}  // namespace remote_command

}  // namespace Talwen
