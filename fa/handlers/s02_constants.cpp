// Stream 2: equipment constants - request, new values, namelist (SEMI E5). A constant's value is the value of
// the IO point that it is bound to.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "fa/config/variable_tables.h"
#include "fa/handlers/handler_support.h"
#include "fa/handlers/value_items.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

using Constants = Variables<ECID_STRU>;

/// What differs between the constants on digital, analog and string points, in the order of IO_TYPE.
struct Point_Family {
    int (QSeqCon::*count)();
    const char* name;         ///< in the logs
    const char* request_end;  ///< end of S2F13's log
    const char* send_blank;   ///< in front of the code line of S2F15's logs
    const char* formats;      ///< of an ECV, as S2F15's log names them
};
constexpr Point_Family families[] = {
    {&QSeqCon::QSystem_Get_Digital_Count, "DIO", "", "", "A/I1/I2/I4/U1/U2/U4"},
    {&QSeqCon::QSystem_Get_Analog_Count, "AIO", "", " ", "A/F4/F8"},
    {&QSeqCon::QSystem_Get_String_Count, "SIO", ".", " ", "A"},
};

/// Null for an IO type that constants do not have.
const Point_Family* family_of(const ECID_STRU& record) {
    const auto type = static_cast<std::size_t>(record.io_type);
    return type < std::size(families) ? &families[type] : nullptr;
}

bool has_point(BC_FA& fa, const ECID_STRU& record, const Point_Family& family) {
    return In_Range(record.point, (fa.*family.count)());
}

/// K22: S2F13 takes one byte of any item as the ECID, two of a U1 (docs/kept-behaviour.md).
int low_byte_ecid(const _SECS_ITEM& item) {
    const auto byte = [&item](int i) { return static_cast<int>(static_cast<unsigned char>(item.value[i])); };
    return item.format == SECS_FORMAT_U1 ? byte(0) + byte(1) * 256 : byte(0);
}

/// One ECV of S2F14.
Item_Owner constant_value(BC_FA& fa, const Constants& constants, int ecid) {
    const ECID_STRU* record = constants.find(ecid);
    if (record == nullptr) {
        OnlineLog("ECID:%d 未识别.[代码行:%s:%d]", ecid, FA_CODE_LINE("reply_S02F13"));
        return Placeholder_Item();
    }
    const Point_Family* family = family_of(*record);
    const char* name = record->sv_name.c_str();
    if (family == nullptr) {
        OnlineLog("ECID:%d [IO:%s:%d] IOType:%d 未识别 , ECV 返回\"-\".[代码行:%s:%d].", ecid, name,
                  record->point, record->io_type, FA_CODE_LINE("reply_S02F13"));
        return Placeholder_Item();
    }
    if (!has_point(fa, *record, *family)) {
        OnlineLog("ECID:%d [%s %s:%d] 未识别 , ECV 返回\"-\".[代码行:%s:%d]%s", ecid, family->name, name,
                  record->point, FA_CODE_LINE("reply_S02F13"), family->request_end);
        return Placeholder_Item();
    }
    switch (record->io_type) {
        case IO_DIGITAL: return Integer_Item(SECS_FORMAT_I4, fa.QDigital_Read(record->point));
        case IO_ANALOG: return Analog_Item(SECS_FORMAT_F4, fa.QAnalog_Read(record->point));
        default: return Ascii_Item(fa.QString_Read(record->point));
    }
}

/// A pair of S2F15 that has passed its checks.
struct New_Constant {
    const ECID_STRU* record = nullptr;
    double number = 0;  ///< of a digital or analog point
    const char* text = nullptr;
};

/// EAC of S2F16.
constexpr unsigned char unknown = 1;
constexpr unsigned char refused = 3;

template <class Float>
double first_float(const _SECS_ITEM& item) {
    Float value;
    std::memcpy(&value, item.value, sizeof value);
    return static_cast<double>(value);
}

/// Reads the ECV for a point of that type; false for a format that it does not take.
bool read_ecv(IO_TYPE type, const _SECS_ITEM& ecv, New_Constant& constant) {
    if (type == IO_DIGITAL) {
        int value = 0;
        const bool eight_bytes = ecv.format == SECS_FORMAT_U8 || ecv.format == SECS_FORMAT_I8;
        if (eight_bytes || !Read_Identifier(ecv, &value)) return false;
        constant.number = value;
        return true;
    }
    if (ecv.format == SECS_FORMAT_A) {
        constant.text = Item_Text(ecv);
        if (type == IO_ANALOG) constant.number = std::strtod(constant.text, nullptr);
        return true;
    }
    if (type == IO_STRING || (ecv.format != SECS_FORMAT_F4 && ecv.format != SECS_FORMAT_F8)) return false;
    constant.number = ecv.format == SECS_FORMAT_F4 ? first_float<float>(ecv) : first_float<double>(ecv);
    return true;
}

/// Finds the constant that a pair names.
Verdict find_constant(const Constants& constants, const _SECS_ITEM& pair, int position,
                      New_Constant& constant) {
    if (!Is_List_Of(pair, 2)) {
        OnlineLog("p_item1[%d] 格式错误 , 必须是 L2.[代码行:%s:%d]", position, FA_CODE_LINE("reply_S02F15"));
        return std::nullopt;
    }
    int ecid = 0;
    if (!Read_Identifier(*pair.children[0], &ecid)) {
        OnlineLog("ECID 格式错误 , 必须是 I()/U()/A.[代码行:%s:%d]", FA_CODE_LINE("reply_S02F15"));
        return std::nullopt;
    }
    constant.record = constants.find(ecid);
    if (constant.record != nullptr) return Accepted;
    OnlineLog("ECID:%d 未识别.[代码行:%s:%d]", ecid, FA_CODE_LINE("reply_S02F15"));
    return unknown;
}

/// Reads the value of a constant and checks it against the constant's point.
Verdict check_value(BC_FA& fa, const _SECS_ITEM& ecv, New_Constant& constant) {
    const ECID_STRU& record = *constant.record;
    const Point_Family* family = family_of(record);
    const char* name = record.sv_name.c_str();
    if (family == nullptr) {
        OnlineLog("ECID:%d [SIO %s:%d] IOType:%d 未识别 , 必须是 ASCII. [代码行:%s:%d]", record.id, name,
                  record.point, record.io_type, FA_CODE_LINE("reply_S02F15"));
        return unknown;
    }
    if (!has_point(fa, record, *family)) {
        OnlineLog("ECID:%d [%s %s:%d] IO未识别.%s[代码行:%s:%d]", record.id, family->name, name, record.point,
                  family->send_blank, FA_CODE_LINE("reply_S02F15"));
        return unknown;
    }
    if (!read_ecv(record.io_type, ecv, constant)) {
        OnlineLog("ECID:%d [%s %s:%d] ECV 格式错误 , 必须是 %s.%s[代码行:%s:%d]", record.id, family->name,
                  name, record.point, family->formats, family->send_blank, FA_CODE_LINE("reply_S02F15"));
        return std::nullopt;
    }
    // K39: this is no range test; with a proper range it refuses nothing (docs/kept-behaviour.md).
    if (record.io_type != IO_STRING && record.min >= constant.number && constant.number >= record.max) {
        OnlineLog("ECID:%d [%s %s:%d] ECV 值超限 , 定义范围:[%g,%g]. [代码行:%s:%d]", record.id, family->name,
                  name, record.point, record.min, record.max, FA_CODE_LINE("reply_S02F15"));
        return refused;
    }
    return Accepted;
}

Verdict check_pair(BC_FA& fa, const Constants& constants, const _SECS_ITEM& pair, int position,
                   New_Constant& constant) {
    const Verdict found = find_constant(constants, pair, position, constant);
    return found == Accepted ? check_value(fa, *pair.children[1], constant) : found;
}

void write_constant(BC_FA& fa, const New_Constant& constant) {
    const int point = constant.record->point;
    switch (constant.record->io_type) {
        case IO_DIGITAL: fa.QDigital_Write(point, static_cast<int>(constant.number)); break;
        case IO_ANALOG: fa.QAnalog_Write(point, constant.number); break;
        default: fa.QString_Write(point, constant.text); break;
    }
}

/// A limit cut to an integer; the smallest int for what an int cannot hold.
int cut(double limit) {
    return limit > INT_MIN - 1.0 && limit < INT_MAX + 1.0 ? static_cast<int>(limit) : INT_MIN;
}

/// One item of S2F30.
Item_Owner constant_description(BC_FA& fa, const Constants& constants, int ecid) {
    Item_Owner entry = Empty_List(6);
    const ECID_STRU* record = constants.find(ecid);
    if (record == nullptr) {
        OnlineLog("ECID:%d 未识别. [代码行:%s:%d]", ecid, FA_CODE_LINE("reply_S02F29"));
        return entry;
    }
    if (record->io_type != IO_DIGITAL && record->io_type != IO_ANALOG) {
        OnlineLog("ECID:%d IOType:%d 未识别. [代码行:%s:%d]", ecid, record->io_type,
                  FA_CODE_LINE("reply_S02F29"));
        return entry;
    }
    // K24: only a constant whose index is past its points is described (docs/kept-behaviour.md).
    const int point = record->point;
    if (point < 0 || has_point(fa, *record, *family_of(*record))) return entry;
    Append_Item(entry, U4_Item(ecid));
    Append_Item(entry, Ascii_Item(record->sv_name.c_str()));
    if (record->io_type == IO_DIGITAL) {
        for (const int number : {cut(record->min), cut(record->max), fa.QDigital_Read(point)})
            Append_Item(entry, Integer_Item(SECS_FORMAT_I4, number));
    } else {
        for (const double number : {record->min, record->max, fa.QAnalog_Read(point)})
            Append_Item(entry, Analog_Item(SECS_FORMAT_F4, number));
    }
    Append_Item(entry, Ascii_Item(record->unit.c_str()));
    return entry;
}

}  // namespace

unsigned long BC_FA::reply_S02F13(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_L) {
        OnlineLog("消息头格式错误 , 必须是 L.[代码行:%s:%d]", FA_CODE_LINE("reply_S02F13"));
        return Format_Error;
    }
    std::vector<int> ecids(static_cast<std::size_t>(item->count));
    for (std::size_t i = 0; i < ecids.size(); ++i) ecids[i] = low_byte_ecid(*item->children[i]);
    const auto constants = ECID_List.read();
    if (ecids.empty()) ecids = constants->ids();
    Item_Owner root = Empty_List(ecids.size());
    for (const int ecid : ecids) Append_Item(root, constant_value(*this, *constants, ecid));
    return Reply_And_Log(handle, 2, 14, std::move(root), msgid);
}

unsigned long BC_FA::reply_S02F15(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_L) {
        OnlineLog("消息头格式错误 , 必须是 L.[代码行:%s:%d]", FA_CODE_LINE("reply_S02F15"));
        return Format_Error;
    }
    // All pairs are checked before the first point is written.
    const auto constants = ECID_List.read();
    std::vector<New_Constant> pairs(static_cast<std::size_t>(item->count));
    Verdict verdict = Accepted;
    for (int i = 0; i < item->count && verdict == Accepted; ++i)
        verdict = check_pair(*this, *constants, *item->children[i], i, pairs[static_cast<std::size_t>(i)]);
    if (verdict == Accepted)
        for (const New_Constant& pair : pairs) write_constant(*this, pair);
    return Reply_Verdict(handle, 2, 16, verdict, msgid);
}

unsigned long BC_FA::reply_S02F29(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_L) {
        OnlineLog("消息头格式错误 , 必须是 L. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F29"));
        return Format_Error;
    }
    std::vector<int> ecids(static_cast<std::size_t>(item->count));
    for (std::size_t i = 0; i < ecids.size(); ++i) {
        if (Read_Identifier(*item->children[i], &ecids[i])) continue;
        OnlineLog("ECID 格式错误! 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F29"));
        return Format_Error;
    }
    const auto constants = ECID_List.read();
    if (ecids.empty()) ecids = constants->ids();
    Item_Owner root = Empty_List(ecids.size());
    for (const int ecid : ecids) Append_Item(root, constant_description(*this, *constants, ecid));
    return Reply_And_Log(handle, 2, 30, std::move(root), msgid);
}

}  // namespace Talwen
