// The checks of host commands, each with its refusal.
#include <algorithm>
#include <string_view>

#include "fa/framework/qdb.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/s02_command_steps.h"
#include "fa/secs/secs_driver.h"

namespace Talwen::remote_command {

namespace {

bool module_idle(Run& run, int cm) {
    if (run.fa.QIO_Get_CTC_MAIN_CONTROL(cm) == 0) return true;
    OnlineLog("<%s> 不能执行 , MAIN_CONTROL%d 已是运行状态. [代码行:%s:%d]", run.rcmd(), cm + 1,
              FA_CODE_LINE("reply_S02F41"));
    return run.refuse(cannot_now);
}

bool wafer_counts_agree(Run& run, int set, int real) {
    if (set == real) return true;
    OnlineLog("<%s> Error , 设置Wafer数量:%d , 实际Wafer数量:%d. [代码行:%s:%d]", run.rcmd(), set, real,
              FA_CODE_LINE("reply_S02F41"));
    return false;
}

/// False for a text that would not stay one argument of a scheduler request.
bool is_scheduler_argument(std::string_view text) {
    return !text.empty() && std::ranges::none_of(text, [](char c) {
        return c == ',' || (static_cast<unsigned char>(c) < 0x20) || c == 0x7F;
    });
}

bool wafer_at(Run& run, int slot) {
    return run.fa.QIO_Get_CTC_CMx_Wafer_Status(run.cm(), slot) != 0;
}

/// Wafers in the slots from `first` to `last`, from 0.
int wafers_between(Run& run, int first, int last) {
    int wafers = 0;
    for (int slot = first; slot <= last; ++slot) wafers += wafer_at(run, slot) ? 1 : 0;
    return wafers;
}

}  // namespace

bool port_known(Run& run) {
    if (run.port() >= 1 && run.port() <= run.fa.QSCH_Get_CM_Count()) return true;
    return run.refuse_value(CP_PORTID);
}

bool carrier_present(Run& run) {
    if (run.fa.QIO_Get_CTC_CMx_Carrier(run.cm()) > 0) return true;
    OnlineLog("<RCMD:%s/CPNAME:%s> Value 错误 , 必须 Carrier > 0. [代码行:%s:%d]", run.rcmd(),
              Remote_Parameter_Name(CP_PORTID), FA_CODE_LINE("reply_S02F41"));
    return run.refuse_told(CP_PORTID);
}

bool carrier_is_that(Run& run) {
    const std::string_view id = run.text(CP_CarrierID);
    if (!id.empty() && id == run.fa.QIO_Get_CTC_CMx_CarrierID(run.cm())) return true;
    return run.refuse_value(CP_CarrierID);
}

bool carrier_may_be_that(Run& run) {
    const std::string_view read = run.fa.QIO_Get_CTC_CMx_CarrierID(run.cm());
    if (read.empty() && *run.text(CP_CarrierID) != '\0') return true;
    return carrier_is_that(run);
}

bool idle(Run& run) {
    return module_idle(run, run.cm());
}

bool all_idle(Run& run) {
    for (int cm = 0; cm < run.fa.QSCH_Get_CM_Count(); ++cm)
        if (!module_idle(run, cm)) return false;
    return true;
}

bool running(Run& run) {
    if (run.fa.QIO_Get_CTC_MAIN_CONTROL(run.cm()) != 0) return true;
    OnlineLog("%s:未处于自动运行中,指令拒绝执行. [代码行:%s:%d]", run.rcmd(), FA_CODE_LINE("reply_S02F41"));
    return run.refuse(cannot_now);
}

bool wafers_complete(Run& run) {
    return wafer_counts_agree(run, run.fa.QIO_Get_CTC_WAFER_TARGET_COUNT(run.cm()),
                              run.fa.QIO_Get_CTC_WAFER_REAL_COUNT(run.cm())) ||
           run.refuse(cannot_now);
}

bool access_mode_known(Run& run) {
    const int mode = run.number(CP_AccessMode);
    return mode == 0 || mode == 1 || run.refuse_value(CP_AccessMode);
}

bool job_named(Run& run) {
    return is_scheduler_argument(run.text(CP_JOBID)) || run.refuse_value(CP_JOBID);
}

bool recipe_selectable(Run& run) {
    if (QDB_Find_LotRecipe(run.text(CP_RECIPE))) return true;
    OnlineLog("<%s> 错误 , recipe:%s 未找到. [代码行:%s:%d]", run.rcmd(), run.text(CP_RECIPE),
              FA_CODE_LINE("reply_S02F41"));
    return run.refuse_told(CP_RECIPE);
}

bool recipe_runnable(Run& run) {
    if (!is_scheduler_argument(run.text(CP_RECIPE)))
        OnlineLog("远程指令<%s> 作业配方:%s 获取失败, 指令拒绝执行! [代码行:%s:%d]", run.rcmd(),
                  run.text(CP_RECIPE), FA_CODE_LINE("reply_S02F41"));
    else if (!QDB_Find_LotRecipe(run.text(CP_RECIPE)))
        OnlineLog("远程指令<%s> 作业配方:%s 路径不存在, 指令拒绝执行! [代码行:%s:%d]", run.rcmd(),
                  run.text(CP_RECIPE), FA_CODE_LINE("reply_S02F41"));
    else
        return true;
    return run.refuse_told(CP_RECIPE);
}

bool slots_known(Run& run) {
    const int slots = run.fa.QSCH_Get_CM_Slot_Count(run.cm());
    const auto inside = [&](Remote_Parameter parameter) {
        return run.number(parameter) >= 1 && run.number(parameter) <= slots;
    };
    const bool start_inside = inside(CP_StartSlot);
    if (!start_inside) run.refuse_told(CP_StartSlot);
    if (!inside(CP_EndSlot) || (start_inside && run.number(CP_EndSlot) < run.number(CP_StartSlot)))
        run.refuse_told(CP_EndSlot);
    if (run.hcack == done) return true;
    OnlineLog("远程指令<%s> 起始片槽号与结束片槽号获取异常，指令拒绝执行! [代码行:%s:%d]", run.rcmd(),
              FA_CODE_LINE("reply_S02F41"));
    return false;
}

bool wafer_count_of_slots(Run& run) {
    if (!run.request.given[CP_WaferCount]) return true;
    return wafer_counts_agree(
               run, run.number(CP_WaferCount),
               wafers_between(run, run.number(CP_StartSlot) - 1, run.number(CP_EndSlot) - 1)) ||
           run.refuse_told(CP_WaferCount);
}

bool lists_fit_slots(Run& run) {
    const auto slots = static_cast<std::size_t>(std::max(run.fa.QSCH_Get_CM_Slot_Count(run.cm()), 0));
    if (run.request.lot_info.size() > slots) {
        OnlineLog("<RCMD:%s/CPNAME:%s> ListSize 超限 , 必须是 < %d. [代码行:%s:%d]", run.rcmd(),
                  Remote_Parameter_Name(CP_LotInfo), static_cast<int>(slots) + 1,
                  FA_CODE_LINE("reply_S02F41"));
        return run.refuse_told(CP_LotInfo);
    }
    if (run.request.slot_map.size() != slots) return run.refuse_value(CP_SlotMap);
    run.request.lot_info.resize(slots);  // slots that the host left out have no ids
    return true;
}

bool slots_truly_marked(Run& run) {
    const auto no_wafer = [&run](Remote_Parameter parameter) {
        OnlineLog("%s/%s Value错误 , 当实际没有Wafer，但是主机端标记的时候错误. [代码行:%s:%d]", run.rcmd(),
                  Remote_Parameter_Name(parameter), FA_CODE_LINE("reply_S02F41"));
        return run.refuse_told(parameter);
    };
    for (std::size_t slot = 0; slot < run.request.slot_map.size(); ++slot) {
        const Lot_Entry& ids = run.request.lot_info[slot];
        const bool marked = run.request.slot_map[slot];
        if (!wafer_at(run, static_cast<int>(slot))) {
            if (marked) return no_wafer(CP_SlotMap);
            if (!ids.lot.empty() || !ids.wafer.empty()) return no_wafer(CP_LotInfo);
        } else if (marked && (ids.lot.empty() || ids.wafer.empty())) {
            OnlineLog("<RCMD:%s/CPNAME:%s> Value <LOTID/WAFERID> 为空错误. [代码行:%s:%d]", run.rcmd(),
                      Remote_Parameter_Name(CP_LotInfo), FA_CODE_LINE("reply_S02F41"));
            return run.refuse_told(CP_LotInfo);
        }
    }
    return true;
}

bool wafer_count_of_map(Run& run) {
    const std::vector<bool>& map = run.request.slot_map;
    const int real = wafers_between(run, 0, static_cast<int>(map.size()) - 1);
    if (!wafer_counts_agree(run, run.number(CP_WaferCount), real)) return run.refuse_told(CP_WaferCount);
    const auto marked = static_cast<int>(std::ranges::count(map, true));
    return wafer_counts_agree(run, marked, real) || run.refuse_told(CP_SlotMap);
}

bool any_lamp(Run& run) {
    for (const Remote_Parameter lamp : {CP_REDSTATE, CP_GREENSTATE, CP_YELLOWSTATE, CP_BLUESTATE})
        if (run.request.given[lamp]) return true;
    return run.refuse(nothing_given);
}

}  // namespace Talwen::remote_command
