// Stream 2: host commands (S2F41). What each one takes, checks and does: docs/remote-commands.md.
#include <algorithm>
#include <cstdint>

#include "fa/framework/qstr.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/s02_command_parameters.h"
#include "fa/handlers/s02_command_steps.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

using namespace remote_command;

namespace {

/// How many parameters a command takes, and the log's words for any other.
struct List_Size {
    int least;
    int most;
    const char* text;
};
constexpr List_Size any_size{0, INT32_MAX, ""};
constexpr List_Size one_recipe{1, 1, "L[1] List_Size 长度错误 , 必须 == 1 ( 仅针对 PP_Select )."};
constexpr List_Size one_port{1, 1, "L[1] ListSize 错误 , 必须是 1."};
constexpr List_Size one{1, 1, "L[1] 格式错误 , 必须是 L1."};
constexpr List_Size two{2, 2, "L[1] 格式错误 , 必须是 L2."};
constexpr List_Size four{4, 4, "L[1] 格式错误 , 必须是 L4."};
constexpr List_Size six_or_more{6, INT32_MAX, "L[1] 格式错误 , Must >= 6."};

enum Trait : unsigned char { plain = 0, any_state = 1, logs_acceptance = 2 };

struct Command {
    std::array<const char*, 3> spellings;
    const List_Size* size;
    Trait trait;
    std::array<Step, 10> steps;
};

// clang-format off
constexpr Command commands[] = {
    {{"START"}, &any_size, plain, {port_known, run_scheduler}},
    {{"Local", "Go_Local"}, &any_size, any_state, {change_control<Control_State::local>}},
    {{"Remote", "Go_Remote"}, &any_size, any_state, {change_control<Control_State::remote>}},
    {{"SignalTower"}, &any_size, plain,
     {any_lamp, given<CP_REDSTATE, CP_GREENSTATE, CP_YELLOWSTATE, CP_BLUESTATE>, switch_tower}},
    {{"AlarmBuzzer", "ALARMBUZZER"}, &any_size, plain, {given<CP_ALARMBUZZER>, switch_buzzer}},
    {{"STOP"}, &one, logs_acceptance, {port_known, running, run_scheduler}},
    {{"PAUSE"}, &one, logs_acceptance, {port_known, running, run_scheduler}},
    {{"RESUME"}, &one, logs_acceptance, {port_known, running, run_scheduler}},
    {{"ABORT"}, &one, logs_acceptance, {port_known, running, run_scheduler}},
    {{"PP_Select", "PP-Select", "PPSelect"}, &one_recipe, logs_acceptance,
     {given<CP_RECIPE>, recipe_selectable, all_idle, select_recipe}},
    {{"ReadCarrierID"}, &one_port, logs_acceptance, {port_known, carrier_present, run_scheduler}},
    {{"ChangeAccessMode"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_AccessMode>, port_known, access_mode_known, change_access_mode}},
    {{"ProceedWithCarrierID"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_CarrierID>, port_known, carrier_present, carrier_may_be_that,
      proceed_with_carrier_id}},
    {{"LockWithCarrierID"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_CarrierID>, port_known, carrier_present, carrier_is_that, run_scheduler}},
    {{"UnlockWithCarrierID"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_CarrierID>, port_known, carrier_present, carrier_is_that, idle, run_scheduler}},
    {{"LoadWithCarrierID"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_CarrierID>, port_known, carrier_present, carrier_is_that, idle, run_scheduler}},
    {{"UnloadWithCarrierID"}, &two, logs_acceptance,
     {given<CP_PORTID, CP_CarrierID>, port_known, carrier_present, carrier_is_that, idle, wafers_complete,
      run_scheduler}},
    {{"ProceedWithSlotMap"}, &four, logs_acceptance,
     {given<CP_PORTID, CP_WaferCount, CP_LotInfo, CP_SlotMap>, port_known, carrier_present, lists_fit_slots,
      slots_truly_marked, wafer_count_of_map, proceed_with_slot_map}},
    {{"StartProcess"}, &six_or_more, logs_acceptance,
     {given<CP_PORTID, CP_JOBID, CP_CarrierID>, port_known, carrier_present, carrier_is_that, job_named,
      recipe_runnable, slots_known, wafer_count_of_slots, idle, start_process}},
};
// clang-format on

/// Null for an unknown RCMD.
const Command* find_command(const char* rcmd) {
    const auto* found = std::ranges::find_if(commands, [rcmd](const Command& command) {
        return std::ranges::any_of(command.spellings, [rcmd](const char* spelling) {
            return spelling != nullptr && QStr_Compare_L(rcmd, spelling);
        });
    });
    return found == std::end(commands) ? nullptr : found;
}

/// Reads the parameters of a command; false for a format error, which is logged.
bool read_parameters(const _SECS_ITEM& root, const Command* command, Remote_Request& request) {
    const bool has_list = root.count == 2;
    if (has_list && root.children[1]->format != SECS_FORMAT_L) {
        OnlineLog("L[1] 格式错误 , 必须是 L. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F41"));
        return false;
    }
    const int size = has_list ? root.children[1]->count : 0;
    const List_Size& wanted = command != nullptr ? *command->size : any_size;
    if (size < wanted.least || size > wanted.most) {
        OnlineLog("%s [代码行:%s:%d]", wanted.text, FA_CODE_LINE("reply_S02F41"));
        return false;
    }
    return !has_list || Read_Remote_Parameters(*root.children[1], request);
}

/// The gate, then the command's steps until one refuses.
void carry_out(const Command* command, Run& run) {
    if (!run.request.flagged.empty()) {
        run.hcack = bad_parameter;
        return;
    }
    const Control_State control = Get_Control_State(run.fa);
    const bool passes = command != nullptr && command->trait == any_state;
    if (control != Control_State::remote && !passes) {
        run.hcack = control == Control_State::local ? on_line_local : not_on_line;
        return;
    }
    if (command == nullptr) {
        run.hcack = unknown_command;
        return;
    }
    run.word = command->spellings[0];
    for (const Step step : command->steps)
        if (step != nullptr && !step(run)) return;
    if (command->trait == logs_acceptance)
        OnlineLog("%s:已收到命令. [代码行:%s:%d]", run.rcmd(), FA_CODE_LINE("reply_S02F41"));
}

Item_Owner reply_item(const Run& run) {
    Item_Owner list = Empty_List(run.request.flagged.size());
    for (const Flagged_Parameter& parameter : run.request.flagged)
        Append_Item(list, List_Item{Ascii_Item(parameter.name.c_str()), Acknowledge_Item(parameter.cpack)});
    return List_Item{Acknowledge_Item(run.hcack), std::move(list)};
}

}  // namespace

unsigned long BC_FA::reply_S02F41(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_L || item->count < 1 || item->count > 2) {
        OnlineLog("消息头格式错误 , 必须是 L 且 ListSize=[1 or 2]. [代码行:%s:%d]",
                  FA_CODE_LINE("reply_S02F41"));
        return Format_Error;
    }
    if (item->children[0]->format != SECS_FORMAT_A) {
        OnlineLog("<RCMD> 格式错误 , 必须是 A. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F41"));
        return Format_Error;
    }
    const char* rcmd = Item_Text(*item->children[0]);
    const Command* command = find_command(rcmd);
    Run run{*this, "", {}};
    run.request.rcmd = std::string(rcmd).substr(0, Remote_Text_Limit);
    if (!read_parameters(*item, command, run.request)) return Format_Error;
    carry_out(command, run);
    return Reply_And_Log(handle, 2, 42, reply_item(run), msgid);
}

}  // namespace Talwen
