// Stream 6: the host's report requests, its request for spooled data, and its acknowledges (SEMI E5).
#include <string>
#include <string_view>

#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/value_items.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

constexpr int lowest_id = 1;
constexpr int highest_id = 65535;

/// One request for reports; the four differ in no more than this.
struct Report_Request {
    unsigned char function;
    bool by_event;   ///< asks by CEID for all reports of an event, else by RPTID for one report
    bool annotated;  ///< each value is in an L[2] after its RVID
    const char* name;
    const char* out_of_range;
    const char* unknown;
    const char* bad_io_type;
};

// K27: the texts differ in blanks and spellings (docs/kept-behaviour.md).
constexpr Report_Request Event_Report_Request{
    15,
    true,
    false,
    "Talwen::BC_FA::reply_S06F15",
    "<CEID> 数值超限 , 必须是 [%d,%d]. [代码行:%s:%d]",
    "<CEID:%d>未识别. [代码行:%s:%d]",
    "<RVID:%d> IOType 错误. [代码行:%s:%d]",
};
constexpr Report_Request Annotated_Event_Report_Request{
    17,
    true,
    true,
    "Talwen::BC_FA::reply_S06F17",
    "<CEID>数值超限错误 , 必须是 [%d,%d]. [代码行:%s:%d]",
    "<CEID:%d> 未识别. [代码行:%s:%d]",
    "<RVID:%d> IOType 错识. [代码行:%s:%d]",
};
constexpr Report_Request Individual_Report_Request{
    19,
    false,
    false,
    "Talwen::BC_FA::reply_S06F19",
    "<RPTID>数值超限错误 , 必须是 [%d,%d]. [代码行:%s:%d]",
    "<RPTID:%d> 未识别. [代码行:%s:%d]",
    "<RVID:%d> IOType 错误. [代码行:%s:%d]",
};
constexpr Report_Request Annotated_Individual_Report_Request{
    21,
    false,
    true,
    "Talwen::BC_FA::reply_S06F21",
    "<RPTID>数值超限 , 必须是 [%d,%d]. [代码行:%s:%d]",
    "<RPTID:%d> 未识别. [代码行:%s:%d]",
    "<RVID:%d> IOType 错误. [代码行:%s:%d]",
};

using Report_Variables = Variables<RVID_STRU>;

/// K8: logged under the received message id; 1 also when it was not sent (docs/kept-behaviour.md).
unsigned long answer(void* handle, unsigned char function, Item_Owner root, unsigned long msgid) {
    SecsReplyMessageItem(handle, 6, function, root.get(), 0, msgid);
    QFA_Message_Print_SML(handle, 6, function, root.get(), msgid, 1);
    return 1;
}

/// The text of a string point as the list that it describes; an unknown type word gives its value as text.
Item_Owner list_value(BC_FA& fa, int point) {
    static constexpr Type_Word words[] = {
        {"U1", SECS_FORMAT_U1}, {"U2", SECS_FORMAT_U2}, {"U4", SECS_FORMAT_U4}, {"U8", SECS_FORMAT_U8},
        {"I1", SECS_FORMAT_I1}, {"I2", SECS_FORMAT_I2}, {"I4", SECS_FORMAT_I4}, {"I8", SECS_FORMAT_I8},
        {"F4", SECS_FORMAT_F4}, {"F8", SECS_FORMAT_F8},
    };
    return List_Variable_Item(fa.QString_Read(point), words, [](std::string_view, std::string_view value) {
        return Ascii_Item(std::string(value).c_str());
    });
}

/// K29: a string variable that is neither text nor list has no value item (docs/kept-behaviour.md).
Item_Owner string_value(BC_FA& fa, const RVID_STRU& variable) {
    switch (variable.format) {
        case SECS_FORMAT_A: return Ascii_Item(fa.QString_Read(variable.point));
        case SECS_FORMAT_L: return list_value(fa, variable.point);
        default: return nullptr;
    }
}

/// K30: the bounds of all three kinds of points are the digital ones' (docs/kept-behaviour.md).
Item_Owner requested_value(BC_FA& fa, const Report_Request& request, const RVID_STRU& variable) {
    const int point = variable.point;
    const bool inside = In_Range(point, fa.QSystem_Get_Digital_Count());
    switch (variable.io_type) {
        case IO_DIGITAL:
            if (inside) return Integer_Item(variable.format, fa.QDigital_Read(point));
            OnlineLog("RVID [DIO:%d] 数值超限 , 必须是 [0,%d]. [代码行:%s:%d]", point,
                      fa.QSystem_Get_Digital_Count() - 1, request.name, __LINE__);
            break;
        case IO_ANALOG:
            if (inside) return Analog_Item(variable.format, fa.QAnalog_Read(point));
            OnlineLog("RVID [AIO:%d] 数值超限 , 必须是 [0,%d]. [代码行:%s:%d]", point,
                      fa.QSystem_Get_Analog_Count() - 1, request.name, __LINE__);
            break;
        case IO_STRING:
            if (inside) return string_value(fa, variable);
            OnlineLog("RVID [SIO:%d] 数值超限 , 必须是 [0,%d]. [代码行:%s:%d]", point,
                      fa.QSystem_Get_String_Count() - 1, request.name, __LINE__);
            break;
        default: OnlineLog(request.bad_io_type, variable.id, request.name, __LINE__); break;
    }
    return Placeholder_Item();
}

Item_Owner value_of(BC_FA& fa, const Report_Request& request, const Report_Variables& variables, int ceid,
                    int rptid, int rvid) {
    if (const RVID_STRU* variable = variables.find(rvid)) return requested_value(fa, request, *variable);
    if (request.by_event)
        OnlineLog("<CEID:%d><RPTID:%d> RVID%d 未识别. [代码行:%s:%d]", ceid, rptid, rvid, request.name,
                  __LINE__);
    else
        OnlineLog("<RVID:%d> 未识别. [代码行:%s:%d]", rvid, request.name, __LINE__);
    return Placeholder_Item();
}

/// L[m], one value (or pair of RVID and value) per variable.
Item_Owner report_values(BC_FA& fa, const Report_Request& request, int ceid, const RPTID_STRU& report) {
    const auto variables = RVID_List.read();
    Item_Owner values = Empty_List(report.LINKVID.size());
    for (const int rvid : report.LINKVID) {
        Item_Owner value = value_of(fa, request, *variables, ceid, report.RPTID, rvid);
        if (value == nullptr) continue;
        if (request.annotated) value = List_Item{U4_Item(rvid), std::move(value)};
        Append_Item(values, std::move(value));
    }
    return values;
}

Item_Owner individual_report(BC_FA& fa, const Report_Request& request, int rptid) {
    const auto report = RPTID_List.find(rptid);
    if (report != nullptr) return report_values(fa, request, 0, *report);
    OnlineLog(request.unknown, rptid, request.name, __LINE__);
    return Empty_List();
}

/// One L[2] <U4 RPTID> L[m] of an event.
Item_Owner linked_report(BC_FA& fa, const Report_Request& request, int ceid, int rptid) {
    const auto report = RPTID_List.find(rptid);
    if (report == nullptr)
        OnlineLog("<CEID:%d> RPTID:%d 未识别. [代码行:%s:%d]", ceid, rptid, request.name, __LINE__);
    return List_Item{U4_Item(rptid),
                     report != nullptr ? report_values(fa, request, ceid, *report) : Empty_List()};
}

/// A host that asks gets a disabled event's reports too; the enable flag is for what the equipment sends.
Item_Owner event_report(BC_FA& fa, const Report_Request& request, int ceid) {
    const auto event = CEID_List.find(ceid);
    Item_Owner reports = Empty_List();
    if (event == nullptr)
        OnlineLog(request.unknown, ceid, request.name, __LINE__);
    else
        for (const int rptid : event->LINKRPTID)
            Append_Item(reports, linked_report(fa, request, ceid, rptid));
    return List_Item{U4_Item(event != nullptr ? event->DATAID : 0), U4_Item(ceid), std::move(reports)};
}

unsigned long reply_report(BC_FA& fa, const Report_Request& request, void* handle, const _SECS_ITEM& item,
                           unsigned long msgid) {
    int id = 0;
    if (!Read_Identifier(item, &id)) {
        OnlineLog("消息头格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", request.name, __LINE__);
        return Format_Error;
    }
    if (id < lowest_id || id > highest_id) {
        OnlineLog(request.out_of_range, lowest_id, highest_id, request.name, __LINE__);
        return Format_Error;
    }
    Item_Owner root = request.by_event ? event_report(fa, request, id) : individual_report(fa, request, id);
    return answer(handle, static_cast<unsigned char>(request.function + 1), std::move(root), msgid);
}

/// Whether a refusal for its format is logged.
enum class Format_Log { silent, logged };

/// ACKC6 of the host. A refused report is not sent again.
/// K31: what passes, and what is logged (docs/kept-behaviour.md).
unsigned long acknowledged(const char* name, const _SECS_ITEM& item, Format_Log format_log) {
    if (item.format != SECS_FORMAT_B && item.length != 1) {
        if (format_log == Format_Log::logged)
            OnlineLog("主机回复格式错误 , 必须是 B. [代码行:%s:%d]", name, __LINE__);
        return Format_Error;
    }
    if (item.value[0] == 0) return 1;
    OnlineLog("主机拒绝. [代码行:%s:%d]", name, __LINE__);
    return 0;
}

}  // namespace

unsigned long BC_FA::recv_S06F02(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    return acknowledged("Talwen::BC_FA::recv_S06F02", *item, Format_Log::silent);
}
unsigned long BC_FA::recv_S06F04(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    return acknowledged("Talwen::BC_FA::recv_S06F04", *item, Format_Log::silent);
}
unsigned long BC_FA::recv_S06F10(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    return acknowledged("Talwen::BC_FA::recv_S06F10", *item, Format_Log::silent);
}
unsigned long BC_FA::recv_S06F12(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    return acknowledged("Talwen::BC_FA::recv_S06F12", *item, Format_Log::logged);
}
unsigned long BC_FA::recv_S06F14(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    return acknowledged("Talwen::BC_FA::recv_S06F14", *item, Format_Log::logged);
}

unsigned long BC_FA::reply_S06F15(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return reply_report(*this, Event_Report_Request, handle, *item, msgid);
}
unsigned long BC_FA::reply_S06F17(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return reply_report(*this, Annotated_Event_Report_Request, handle, *item, msgid);
}
unsigned long BC_FA::reply_S06F19(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return reply_report(*this, Individual_Report_Request, handle, *item, msgid);
}
unsigned long BC_FA::reply_S06F21(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return reply_report(*this, Annotated_Individual_Report_Request, handle, *item, msgid);
}

// No request reads or purges the spool: the answer is always that nothing is spooled.
unsigned long BC_FA::reply_S06F23(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    constexpr unsigned char nothing_spooled = 2;
    if (item->format != SECS_FORMAT_U1) {
        OnlineLog("消息头格式错误 , 必须是 U1. [代码行:%s:%d]", FA_CODE_LINE("reply_S06F23"));
        return Format_Error;
    }
    if (item->value[0] != 0 && item->value[0] != 1) {
        OnlineLog("<RSDC> 数值超限 , 必须是 [0,1]. [代码行:%s:%d]", FA_CODE_LINE("reply_S06F23"));
        return Format_Error;
    }
    return answer(handle, 24, Acknowledge_Item(nothing_spooled), msgid);
}

}  // namespace Talwen
