// Stream 1: selected status, status namelist, alarm queue (SEMI E5).
#include <vector>

#include "fa/config/alarm_table.h"
#include "fa/config/variable_tables.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/value_items.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

using Status_Variables = Variables<SVID_STRU>;

/// The SVIDs that a request names, all of the table's for an empty list; false when one is not an identifier.
bool requested_svids(const _SECS_ITEM& list, const Status_Variables& variables, std::vector<int>& svids) {
    svids.resize(static_cast<std::size_t>(list.count > 0 ? list.count : 0));
    for (std::size_t i = 0; i < svids.size(); ++i)
        if (!Read_Low_32_Bits(*list.children[i], &svids[i])) return false;
    if (!svids.empty()) return true;
    svids = variables.ids();
    return true;
}

/// A digital value in the record's integer format. Unlike in reports, the eight-byte formats give I4.
Item_Owner digital_item(unsigned char format, int value) {
    const bool eight_bytes = format == SECS_FORMAT_I8 || format == SECS_FORMAT_U8;
    return Integer_Item(eight_bytes ? static_cast<unsigned char>(SECS_FORMAT_I4) : format, value);
}

/// One SV of S1F4.
Item_Owner status_value(BC_FA& fa, const Status_Variables& variables, int svid) {
    const SVID_STRU* record = variables.find(svid);
    if (record == nullptr) {
        OnlineLog("<SVID>:%d , 未识别.[代码行:%s:%d]", svid, FA_CODE_LINE("reply_S01F03"));
        return Placeholder_Item();
    }
    const int point = record->point;
    switch (record->io_type) {
        case IO_DIGITAL:
            if (In_Range(point, fa.QSystem_Get_Digital_Count()))
                return digital_item(record->format, fa.QDigital_Read(point));
            OnlineLog("<SVID> [DIO Point:%d]超限错误 , 范围[0,%d].[代码行:%s:%d]", point,
                      fa.QSystem_Get_Digital_Count() - 1, FA_CODE_LINE("reply_S01F03"));
            break;
        case IO_ANALOG:
            if (In_Range(point, fa.QSystem_Get_Analog_Count()))
                return Analog_Item(record->format, fa.QAnalog_Read(point));
            OnlineLog("<SVID> [AIO Point:%d]超限错误 , 范围[0,%d].[代码行:%s:%d]", point,
                      fa.QSystem_Get_Analog_Count() - 1, FA_CODE_LINE("reply_S01F03"));
            break;
        case IO_STRING:
            if (In_Range(point, fa.QSystem_Get_String_Count())) return Ascii_Item(fa.QString_Read(point));
            OnlineLog("<SVID> [SIO Point:%d]超限错误 , 范围[0,%d].[代码行:%s:%d]", point,
                      fa.QSystem_Get_String_Count() - 1, FA_CODE_LINE("reply_S01F03"));
            break;
        default:
            OnlineLog("<SVID>:%d , IOType:%d 未识别.[代码行:%s:%d]", svid, record->io_type,
                      FA_CODE_LINE("reply_S01F03"));
            break;
    }
    return Placeholder_Item();
}

struct Name_And_Unit {
    const char* name = "-";
    const char* unit = "-";
};

/// Name and unit of a variable's point.
/// K20: bounds and unit are the digital points' (docs/kept-behaviour.md).
Name_And_Unit point_name_and_unit(BC_FA& fa, int svid, const SVID_STRU& record) {
    const int point = record.point;
    const bool inside = In_Range(point, fa.QSystem_Get_Digital_Count());
    switch (record.io_type) {
        case IO_DIGITAL:
            if (inside) return {fa.QDigital_Get_Name(point), fa.QDigital_Get_Unit(point)};
            OnlineLog("SVID [DIO:%d]超限错误 , 范围[0,%d].[代码行:%s:%d]", point,
                      fa.QSystem_Get_Digital_Count() - 1, FA_CODE_LINE("reply_S01F11"));
            break;
        case IO_ANALOG:
            if (inside) return {fa.QAnalog_Get_Name(point), fa.QDigital_Get_Unit(point)};
            OnlineLog("<SVID> [AIO:%d]超限错误 , 范围[0,%d]. [代码行:%s:%d]", point,
                      fa.QSystem_Get_Analog_Count() - 1, FA_CODE_LINE("reply_S01F11"));
            break;
        case IO_STRING:
            if (inside) return {fa.QString_Get_Name(point), "-"};
            OnlineLog("<SVID> [SIO:%d]超限错误 , 范围[0,%d]. [代码行:%s:%d]", point,
                      fa.QSystem_Get_String_Count() - 1, FA_CODE_LINE("reply_S01F11"));
            break;
        default:
            OnlineLog("<SVID>:%d  , IO Type %d 未识别. [代码行:%s:%d]", svid, record.io_type,
                      FA_CODE_LINE("reply_S01F11"));
            break;
    }
    return {};
}

/// One L[3] of S1F12.
Item_Owner namelist_entry(BC_FA& fa, const Status_Variables& variables, int svid) {
    Name_And_Unit text;
    if (const SVID_STRU* record = variables.find(svid))
        text = point_name_and_unit(fa, svid, *record);
    else
        OnlineLog("<SVID>:%d 未识别.[代码行:%s:%d]", svid, FA_CODE_LINE("reply_S01F11"));
    return List_Item{U4_Item(svid), Ascii_Item(text.name), Ascii_Item(text.unit)};
}

}  // namespace

unsigned long BC_FA::reply_S01F03(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_L) {
        OnlineLog("消息头格式错误 , 必须是 L.[代码行:%s:%d]", FA_CODE_LINE("reply_S01F03"));
        return Format_Error;
    }
    const auto variables = SVID_List.read();
    std::vector<int> svids;
    if (!requested_svids(*item, *variables, svids)) {
        OnlineLog("<SVID> 格式错误 , 必须是 I()/U()/A.[代码行:%s:%d]", FA_CODE_LINE("reply_S01F03"));
        return Format_Error;
    }
    Item_Owner root = Empty_List(svids.size());
    for (const int svid : svids) Append_Item(root, status_value(*this, *variables, svid));
    return Reply_And_Log(handle, 1, 4, std::move(root), msgid);
}

unsigned long BC_FA::reply_S01F11(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    const auto variables = SVID_List.read();
    std::vector<int> svids;
    if (!requested_svids(*item, *variables, svids)) {
        OnlineLog("<SVID> 格式错误, 必须是 I()/U()/A.[代码行:%s:%d]", FA_CODE_LINE("reply_S01F11"));
        return Format_Error;
    }
    Item_Owner root = Empty_List(svids.size());
    for (const int svid : svids) Append_Item(root, namelist_entry(*this, *variables, svid));
    return Reply_And_Log(handle, 1, 12, std::move(root), msgid);
}

unsigned long BC_FA::reply_S01F75(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    Item_Owner root = Empty_List();
    for (int i = 0; i < QAlarm_Queue_Count(); ++i) {
        int point = 0;
        int rec = 0;
        ALID_STRU* record = nullptr;
        if (!QAlarm_Queue_Point(i, &point, &rec)) continue;
        if (!QFA_Get_ALID_Stru(QAlarm_Get_ID(point), &record) || !record->enable) continue;
        char text[512] = "";
        QAlarm_Get_Text_Full(record->index, text);
        Append_Item(root, List_Item{Acknowledge_Item(record->ALCD), U4_Item(record->ALID), Ascii_Item(text),
                                    Ascii_Item(QAlarm_Get_Post_Time(record->index))});
    }
    return Reply_And_Log(handle, 1, 76, std::move(root), msgid);
}

}  // namespace Talwen
