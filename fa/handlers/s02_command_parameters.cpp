#include "fa/handlers/s02_command_parameters.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "fa/config/decimal.h"
#include "fa/framework/qstr.h"
#include "fa/handlers/handler_support.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

/// How reading a value ended; `logged` is a wrong format whose log line is written already.
enum class Reading { good, absent, bad_value, bad_format, logged };

/// The names that a PORTID text is matched against, from carrier module 1.
constexpr const char* carrier_module_names[] = {"CM1", "CM2", "CM3", "CM4", "CM5", "CM6"};

/// The first number of an integer item; nothing for an empty item or a number beyond int.
std::optional<int> first_number(const _SECS_ITEM& item) {
    if (Integer_Count(item) == 0) return std::nullopt;
    const long long value = Integer_Element(item, 0);
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(value);
}

using Reader = Reading (*)(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request);

Reading read_number(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (Integer_Size(item.format) == 0) return Reading::bad_format;
    const std::optional<int> value = first_number(item);
    if (!value) return Reading::bad_value;
    request.number[parameter] = *value;
    return Reading::good;
}

Reading read_u1(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    return item.format == SECS_FORMAT_U1 ? read_number(item, parameter, request) : Reading::bad_format;
}

Reading read_number_or_text(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_A) return read_number(item, parameter, request);
    const std::optional<int> value = Whole_Number(Item_Text(item));
    if (!value) return Reading::bad_value;
    request.number[parameter] = *value;
    return Reading::good;
}

/// A negative state is one that was not given.
Reading read_state(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    const Reading reading = read_number_or_text(item, parameter, request);
    return reading == Reading::good && request.number[parameter] < 0 ? Reading::absent : reading;
}

/// A text that names no carrier module is port 0, which every command refuses when it checks the port.
Reading read_port(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_A) return read_number(item, parameter, request);
    request.number[parameter] = 0;
    int number = 0;
    for (const char* name : carrier_module_names) {
        ++number;
        if (QStr_Compare_L(Item_Text(item), name)) request.number[parameter] = number;
    }
    return Reading::good;
}

Reading read_text(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_A) return Reading::bad_format;
    if (item.length > Remote_Text_Limit) return Reading::bad_value;
    request.text[parameter] = Item_Text(item);
    return Reading::good;
}

/// L[n] L[2] <A LOTID> <A WAFERID>, one entry a slot.
Reading read_lot_info(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_L) return Reading::bad_format;
    request.lot_info.clear();
    for (int i = 0; i < item.count; ++i) {
        const _SECS_ITEM& entry = *item.children[i];
        if (!Is_List_Of(entry, 2)) {
            OnlineLog("L[1][%d] 格式错误! 必须是 L2. [代码行:%s:%d]", i, FA_CODE_LINE("reply_S02F41"));
            return Reading::logged;
        }
        const _SECS_ITEM& lot = *entry.children[0];
        const _SECS_ITEM& wafer = *entry.children[1];
        if (lot.format != SECS_FORMAT_A || wafer.format != SECS_FORMAT_A) {
            OnlineLog("<RCMD:%s/CPNAME:%s> Value 格式错误 , 必须是 A. [代码行:%s:%d]", request.rcmd.c_str(),
                      Remote_Parameter_Name(parameter), FA_CODE_LINE("reply_S02F41"));
            return Reading::logged;
        }
        if (lot.length > Remote_Text_Limit || wafer.length > Remote_Text_Limit) return Reading::bad_value;
        request.lot_info.push_back({Item_Text(lot), Item_Text(wafer)});
    }
    return Reading::good;
}

/// Zeros and ones, one element of an integer item for each slot.
Reading read_slot_map(const _SECS_ITEM& item, Remote_Parameter /*parameter*/, Remote_Request& request) {
    if (Integer_Size(item.format) == 0) return Reading::bad_format;
    std::vector<bool> marks(Integer_Count(item));
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const long long mark = Integer_Element(item, i);
        if (mark != 0 && mark != 1) return Reading::bad_value;
        marks[i] = mark == 1;
    }
    request.slot_map = std::move(marks);
    return Reading::good;
}

/// A parameter's name, its reader, and what the log says of a wrong format, after "<RCMD:.../CPNAME:...>" or,
/// where `plain`, after "RCMD/CPNAME".
struct Parameter_Row {
    const char* name;
    Reader read;
    const char* format_text;
    bool plain = false;
};

constexpr std::array<Parameter_Row, CP_Count> parameter_rows{{
    {"PORTID", read_port, "必须是 I()/U()/ASCII."},
    {"RECIPE", read_text, "必须是 A."},
    {"AccessMode", read_u1, "必须是 U1."},
    {"JOBID", read_text, "必须是 A."},
    {"CarrierID", read_text, "必须是 A."},
    {"WaferDes", read_text, "必须是 A."},
    {"WaferCount", read_number_or_text, "必须是 I()/U()/A.", true},
    {"LotInfo", read_lot_info, "必须是 L."},
    {"SlotMap", read_slot_map, "Must U()/I()."},
    {"StartSlot", read_number, "Must U()/I()."},
    {"EndSlot", read_number, "Must U()/I()."},
    {"REDSTATE", read_state, "Must U()/I()/A."},
    {"GREENSTATE", read_state, "Must U()/I()/A."},
    {"YELLOWSTATE", read_state, "Must U()/I()/A."},
    {"BLUESTATE", read_state, "Must U()/I()/A."},
    {"ALARMBUZZER", read_state, "Must U()/I()/A."},
}};

void log_value_invalid(const Remote_Request& request, const char* name) {
    OnlineLog("%s , <RCMD:%s/CPNAME:%s> value invalid Error.", "Talwen::BC_FA::reply_S02F41",
              request.rcmd.c_str(), name);
}

void log_format_error(const Remote_Request& request, const Parameter_Row& row) {
    if (row.plain)
        OnlineLog("%s/%s Value 格式错误 , %s [代码行:%s:%d]", request.rcmd.c_str(), row.name, row.format_text,
                  FA_CODE_LINE("reply_S02F41"));
    else
        OnlineLog("<RCMD:%s/CPNAME:%s> Value 格式错误 , %s [代码行:%s:%d]", request.rcmd.c_str(), row.name,
                  row.format_text, FA_CODE_LINE("reply_S02F41"));
}

void read_pair(const char* cpname, const _SECS_ITEM& value, Remote_Request& request) {
    const auto row = std::ranges::find_if(
        parameter_rows, [cpname](const Parameter_Row& r) { return QStr_Compare_L(cpname, r.name); });
    if (row == parameter_rows.end()) {
        const std::string name = std::string(cpname).substr(0, Remote_Text_Limit);
        log_value_invalid(request, name.c_str());
        request.flagged.push_back({name, CPACK_Unknown_Name});
        return;
    }
    const auto parameter = static_cast<Remote_Parameter>(row - parameter_rows.begin());
    const Reading reading = row->read(value, parameter, request);
    request.given[parameter] = reading == Reading::good;
    if (reading == Reading::bad_value) request.refuse_value(parameter);
    if (reading == Reading::bad_format) log_format_error(request, *row);
    if (reading == Reading::bad_format || reading == Reading::logged)
        request.flag(parameter, CPACK_Illegal_Format);
}

}  // namespace

const char* Remote_Parameter_Name(Remote_Parameter parameter) {
    return parameter_rows[parameter].name;
}

void Remote_Request::flag(Remote_Parameter parameter, unsigned char cpack) {
    flagged.push_back({Remote_Parameter_Name(parameter), cpack});
}

void Remote_Request::refuse_value(Remote_Parameter parameter) {
    log_value_invalid(*this, Remote_Parameter_Name(parameter));
    flag(parameter, CPACK_Illegal_Value);
}

bool Read_Remote_Parameters(const _SECS_ITEM& list, Remote_Request& request) {
    for (int i = 0; i < list.count; ++i) {
        const _SECS_ITEM& pair = *list.children[i];
        if (!Is_List_Of(pair, 2) || pair.children[0]->format != SECS_FORMAT_A) {
            OnlineLog("L[1][%d] 格式错误 , 必须是 L2. [代码行:%s:%d]", i, FA_CODE_LINE("reply_S02F41"));
            return false;
        }
        read_pair(Item_Text(*pair.children[0]), *pair.children[1], request);
    }
    return true;
}

}  // namespace Talwen
