#include "fa/handlers/s02_command_parameters.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "fa/framework/qstr.h"
#include "fa/handlers/handler_support.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

/// How reading a value ended; `told` is a wrong format whose log line is written already.
enum class Verdict { good, absent, bad_value, bad_format, told };

/// The names that a PORTID text is matched against, from carrier module 1.
constexpr const char* carrier_module_names[] = {"CM1", "CM2", "CM3", "CM4", "CM5", "CM6"};

template <class Element>
long long element(const _SECS_ITEM& item, std::size_t index) {
    Element value;
    std::memcpy(&value, Item_Text(item) + index * sizeof value, sizeof value);
    if constexpr (std::is_same_v<Element, std::uint64_t>)
        if (value > static_cast<std::uint64_t>(std::numeric_limits<long long>::max()))
            return std::numeric_limits<long long>::max();
    return static_cast<long long>(value);
}

struct Integer_Format {
    unsigned char format;
    std::size_t size;
    long long (*element)(const _SECS_ITEM&, std::size_t);
};

constexpr Integer_Format integer_formats[] = {
    {SECS_FORMAT_U1, 1, element<std::uint8_t>},  {SECS_FORMAT_U2, 2, element<std::uint16_t>},
    {SECS_FORMAT_U4, 4, element<std::uint32_t>}, {SECS_FORMAT_U8, 8, element<std::uint64_t>},
    {SECS_FORMAT_I1, 1, element<std::int8_t>},   {SECS_FORMAT_I2, 2, element<std::int16_t>},
    {SECS_FORMAT_I4, 4, element<std::int32_t>},  {SECS_FORMAT_I8, 8, element<std::int64_t>},
};

/// Null for an item that holds no integers.
const Integer_Format* integer_format(const _SECS_ITEM& item) {
    const auto* found = std::ranges::find(integer_formats, item.format, &Integer_Format::format);
    return found == std::end(integer_formats) ? nullptr : found;
}

/// The first number of an integer item; nothing for an empty item or a number beyond 32 bits.
std::optional<int> first_number(const _SECS_ITEM& item, const Integer_Format& integers) {
    if (item.length < integers.size) return std::nullopt;
    const long long value = integers.element(item, 0);
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(value);
}

std::optional<int> decimal_number(const char* text) {
    const std::string_view digits = text;
    int value = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (read.ec != std::errc() || read.ptr != digits.data() + digits.size()) return std::nullopt;
    return value;
}

using Reader = Verdict (*)(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request);

Verdict read_number(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    const Integer_Format* integers = integer_format(item);
    if (integers == nullptr) return Verdict::bad_format;
    const std::optional<int> value = first_number(item, *integers);
    if (!value) return Verdict::bad_value;
    request.number[parameter] = *value;
    return Verdict::good;
}

Verdict read_u1(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    return item.format == SECS_FORMAT_U1 ? read_number(item, parameter, request) : Verdict::bad_format;
}

Verdict read_number_or_text(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_A) return read_number(item, parameter, request);
    const std::optional<int> value = decimal_number(Item_Text(item));
    if (!value) return Verdict::bad_value;
    request.number[parameter] = *value;
    return Verdict::good;
}

/// A negative state is one that was not given.
Verdict read_state(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    const Verdict verdict = read_number_or_text(item, parameter, request);
    return verdict == Verdict::good && request.number[parameter] < 0 ? Verdict::absent : verdict;
}

/// What names no carrier module is port 0, which every command refuses once it is its turn.
Verdict read_port(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    int& port = request.number[parameter];
    port = 0;
    if (item.format == SECS_FORMAT_A) {
        int number = 0;
        for (const char* name : carrier_module_names) {
            ++number;
            if (QStr_Compare_L(Item_Text(item), name)) port = number;
        }
        return Verdict::good;
    }
    const Integer_Format* integers = integer_format(item);
    if (integers == nullptr) return Verdict::bad_format;
    port = first_number(item, *integers).value_or(0);
    return Verdict::good;
}

Verdict read_text(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_A) return Verdict::bad_format;
    if (item.length > Remote_Text_Limit) return Verdict::bad_value;
    request.text[parameter] = Item_Text(item);
    return Verdict::good;
}

/// L[n] L[2] <A LOTID> <A WAFERID>, one entry a slot.
Verdict read_lot_info(const _SECS_ITEM& item, Remote_Parameter parameter, Remote_Request& request) {
    if (item.format != SECS_FORMAT_L) return Verdict::bad_format;
    request.lot_info.clear();
    for (int i = 0; i < item.count; ++i) {
        const _SECS_ITEM& entry = *item.children[i];
        if (entry.format != SECS_FORMAT_L || entry.count != 2) {
            OnlineLog("L[1][%d] 格式错误! 必须是 L2. [代码行:%s:%d]", i, FA_CODE_LINE("reply_S02F41"));
            return Verdict::told;
        }
        const _SECS_ITEM& lot = *entry.children[0];
        const _SECS_ITEM& wafer = *entry.children[1];
        if (lot.format != SECS_FORMAT_A || wafer.format != SECS_FORMAT_A) {
            OnlineLog("<RCMD:%s/CPNAME:%s> Value 格式错误 , 必须是 A. [代码行:%s:%d]", request.rcmd.c_str(),
                      Remote_Parameter_Name(parameter), FA_CODE_LINE("reply_S02F41"));
            return Verdict::told;
        }
        if (lot.length > Remote_Text_Limit || wafer.length > Remote_Text_Limit) return Verdict::bad_value;
        request.lot_info.push_back({Item_Text(lot), Item_Text(wafer)});
    }
    return Verdict::good;
}

/// Zeros and ones, one a slot: the elements of an integer item or the characters of a text.
Verdict read_slot_map(const _SECS_ITEM& item, Remote_Parameter /*parameter*/, Remote_Request& request) {
    const Integer_Format* integers = integer_format(item);
    if (integers == nullptr && item.format != SECS_FORMAT_A) return Verdict::bad_format;
    const std::size_t count = integers != nullptr ? item.length / integers->size : item.length;
    std::vector<bool> marks(count);
    for (std::size_t i = 0; i < count; ++i) {
        const long long mark = integers != nullptr ? integers->element(item, i)
                                                   : static_cast<long long>(Item_Text(item)[i]) - '0';
        if (mark != 0 && mark != 1) return Verdict::bad_value;
        marks[i] = mark == 1;
    }
    request.slot_map = std::move(marks);
    return Verdict::good;
}

/// A parameter's name, its reader, and what the log says of a wrong format, behind "<RCMD:.../CPNAME:...>"
/// or, where `plain`, behind "RCMD/CPNAME".
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
    {"SlotMap", read_slot_map, "必须是 I()/U()/A.", true},
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
    const Verdict verdict = row->read(value, parameter, request);
    request.given[parameter] = verdict == Verdict::good;
    if (verdict == Verdict::bad_value) request.refuse_value(parameter);
    if (verdict == Verdict::bad_format) log_format_error(request, *row);
    if (verdict == Verdict::bad_format || verdict == Verdict::told)
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
        if (pair.format != SECS_FORMAT_L || pair.count != 2 || pair.children[0]->format != SECS_FORMAT_A) {
            OnlineLog("L[1][%d] 格式错误 , 必须是 L2. [代码行:%s:%d]", i, FA_CODE_LINE("reply_S02F41"));
            return false;
        }
        read_pair(Item_Text(*pair.children[0]), *pair.children[1], request);
    }
    return true;
}

}  // namespace Talwen
