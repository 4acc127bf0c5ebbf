// Stream 6: the equipment's event reports and trace data (SEMI E5), built when they are queued.
#include <string>
#include <string_view>
#include <vector>

#include "fa/config/config_file.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qtime.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/value_items.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

enum class Value_Rule { by_format, by_io_type };
enum class Label { none, name, rvid };  // what comes before each value, in an L[2] with it

/// One builder of an event report; the four differ in no more than this.
struct Report_Builder {
    const char* name;
    Value_Rule value;
    Label label;
    bool zero_unknown_report;  ///< RPTID 0 in the place of a report that is not there
    const char* bad_length;
    const char* disabled;
};

// K27: the texts differ in blanks and words (docs/kept-behaviour.md).
constexpr Report_Builder Discrete_Variable_Data{
    "Talwen::BC_FA::send_S06F03",
    Value_Rule::by_io_type,
    Label::name,
    true,
    "参数链表长度错误 , 必须是 L1. [代码行:%s:%d]",
    "CEID %d 上报禁止. [代码行:%s:%d]",
};
constexpr Report_Builder Formatted_Variable{
    "Talwen::BC_FA::send_S06F09",
    Value_Rule::by_io_type,
    Label::none,
    false,
    "参数链表长度错误 , 必须是 L1. [代码行:%s:%d]",
    "CEID %d 上报禁止. [代码行:%s:%d]",
};
constexpr Report_Builder Event_Report{
    "Talwen::BC_FA::send_S06F11",
    Value_Rule::by_format,
    Label::none,
    false,
    "参数链表长度错误 , 必须是 L1. [代码行:%s:%d]",
    "CEID %d 上报禁止. [代码行:%s:%d]",
};
constexpr Report_Builder Annotated_Event_Report{
    "Talwen::BC_FA::send_S06F13",
    Value_Rule::by_io_type,
    Label::rvid,
    false,
    "参数链表长度错误, 必须是 L1. [代码行:%s:%d]",
    "CEID %d 上报禁用. [代码行:%s:%d]",
};

const std::vector<std::string>& parameters(const void* param) {
    static const std::vector<std::string> none;
    return param != nullptr ? *static_cast<const std::vector<std::string>*>(param) : none;
}

using Report_Variables = Variables<RVID_STRU>;

/// The text of a string point as the list that it describes.
Item_Owner list_value(BC_FA& fa, int point, int ceid) {
    static constexpr Type_Word words[] = {
        {"U1", SECS_FORMAT_U1}, {"I4", SECS_FORMAT_I4}, {"F4", SECS_FORMAT_F4}};
    return List_Variable_Item(fa.QString_Read(point), words,
                              [ceid](std::string_view word, std::string_view) -> Item_Owner {
                                  OnlineLog("CEID:%d SII_DT_LIST子项类型:%s不支持. [代码行:%s:%d]", ceid,
                                            std::string(word).c_str(), FA_CODE_LINE("send_S06F11"));
                                  return nullptr;
                              });
}

/// The IO type is not looked at: a format decides alone which kind of point is read.
Item_Owner value_by_format(BC_FA& fa, const RVID_STRU& variable, int ceid) {
    switch (variable.format) {
        case SECS_FORMAT_A: return Ascii_Item(fa.QString_Read(variable.point));
        case SECS_FORMAT_I4:
        case SECS_FORMAT_U1:
        case SECS_FORMAT_U2:
        case SECS_FORMAT_U4: return Integer_Item(variable.format, fa.QDigital_Read(variable.point));
        case SECS_FORMAT_F8:
        case SECS_FORMAT_F4: return Analog_Item(variable.format, fa.QAnalog_Read(variable.point));
        case SECS_FORMAT_L: return list_value(fa, variable.point, ceid);
        default: return Placeholder_Item();
    }
}

/// Each kind of point with its own integer and float format.
Item_Owner value_by_io_type(BC_FA& fa, const VARIABLE_STRU& variable, unsigned char digital,
                            unsigned char analog) {
    switch (variable.io_type) {
        case IO_DIGITAL: return Integer_Item(digital, fa.QDigital_Read(variable.point));
        case IO_ANALOG: return Analog_Item(analog, fa.QAnalog_Read(variable.point));
        case IO_STRING: return Ascii_Item(fa.QString_Read(variable.point));
        default: return Placeholder_Item();
    }
}

Item_Owner report_value(BC_FA& fa, const Report_Builder& builder, const RVID_STRU* variable, int ceid) {
    if (variable == nullptr) return Placeholder_Item();
    return builder.value == Value_Rule::by_format
               ? value_by_format(fa, *variable, ceid)
               : value_by_io_type(fa, *variable, SECS_FORMAT_I4, SECS_FORMAT_F4);
}

/// A value with what its builder puts before it.
Item_Owner report_entry(BC_FA& fa, const Report_Builder& builder, const Report_Variables& variables, int rvid,
                        int ceid) {
    const RVID_STRU* variable = variables.find(rvid);
    Item_Owner value = report_value(fa, builder, variable, ceid);
    if (builder.label == Label::none) return value;
    if (builder.label == Label::name)
        return List_Item{variable != nullptr ? Ascii_Item(variable->sv_name.c_str()) : Placeholder_Item(),
                         std::move(value)};
    // K28: I4, 0 for an unknown one (docs/kept-behaviour.md).
    return List_Item{Integer_Item(SECS_FORMAT_I4, variable != nullptr ? rvid : 0), std::move(value)};
}

/// L[2] <U4 RPTID> L[m] values; the values of a report that is not there are an empty list.
Item_Owner linked_report(BC_FA& fa, const Report_Builder& builder, const Report_Variables& variables,
                         int rptid, int ceid) {
    const auto report = RPTID_List.find(rptid);
    Item_Owner values = Empty_List();
    if (report != nullptr)
        for (const int rvid : report->LINKVID)
            Append_Item(values, report_entry(fa, builder, variables, rvid, ceid));
    return List_Item{U4_Item(report == nullptr && builder.zero_unknown_report ? 0 : rptid),
                     std::move(values)};
}

_SECS_ITEM* event_report(BC_FA& fa, const Report_Builder& builder, const void* param) {
    const std::vector<std::string>& texts = parameters(param);
    if (texts.size() != 1) {
        OnlineLog(builder.bad_length, builder.name, __LINE__);
        return nullptr;
    }
    const int ceid = Config_Int(texts[0]);
    const auto event = CEID_List.find(ceid);
    if (event == nullptr) {
        OnlineLog("CEID:%d 未识别. [代码行:%s:%d]", ceid, builder.name, __LINE__);
        return nullptr;
    }
    if (!event->enable) {
        OnlineLog(builder.disabled, ceid, builder.name, __LINE__);
        return nullptr;
    }
    const auto variables = RVID_List.read();
    Item_Owner reports = Empty_List(event->LINKRPTID.size());
    for (const int rptid : event->LINKRPTID)
        Append_Item(reports, linked_report(fa, builder, *variables, rptid, ceid));
    List_Item root{U4_Item(event->DATAID), U4_Item(ceid), std::move(reports)};
    return root.item.release();
}

}  // namespace

_SECS_ITEM* BC_FA::send_S06F01(void* /*handle*/, void* param) {
    const std::vector<std::string>& texts = parameters(param);
    if (texts.size() != 2) {
        OnlineLog("参数链表长度错误 , 必须是 L2. [代码行:%s:%d]", FA_CODE_LINE("send_S06F01"));
        return nullptr;
    }
    const int trid = Config_Int(texts[0]);
    const auto trace = TRID_List.find(trid);
    if (trace == nullptr) {
        OnlineLog("TRID:%d 未识别. [代码行:%s:%d]", trid, FA_CODE_LINE("send_S06F01"));
        return nullptr;
    }
    const auto variables = SVID_List.read();
    Item_Owner values = Empty_List(trace->LINKSVID.size());
    for (const int svid : trace->LINKSVID)  // an unknown one has no place kept for it, unlike in a report
        if (const SVID_STRU* variable = variables->find(svid))
            Append_Item(values, value_by_io_type(*this, *variable, variable->format, variable->format));
    List_Item root{U4_Item(trid), U4_Item(Config_Int(texts[1])), Ascii_Item(QTime_Get_DateTimeID2_Str()),
                   std::move(values)};
    return root.item.release();
}

_SECS_ITEM* BC_FA::send_S06F03(void* /*handle*/, void* param) {
    return event_report(*this, Discrete_Variable_Data, param);
}
_SECS_ITEM* BC_FA::send_S06F09(void* /*handle*/, void* param) {
    return event_report(*this, Formatted_Variable, param);
}
_SECS_ITEM* BC_FA::send_S06F11(void* /*handle*/, void* param) {
    return event_report(*this, Event_Report, param);
}
_SECS_ITEM* BC_FA::send_S06F13(void* /*handle*/, void* param) {
    return event_report(*this, Annotated_Event_Report, param);
}

}  // namespace Talwen
