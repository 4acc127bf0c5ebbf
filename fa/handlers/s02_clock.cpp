// Stream 2: the equipment clock and the loopback diagnostic (SEMI E5).
#include <algorithm>
#include <array>
#include <cstring>

#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/framework/qtime.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"
#include "winapi/winapi.h"

namespace Talwen {

namespace {

/// What the equipment sends in S2F25 and expects back in S2F26.
constexpr char Loopback_Pattern[] = "\x16\xAB\xFF\x1F\x2F\xAC\x13\x12";

/// Where a TIME holds a part of a date, and how long the text must be for it to be read (0 otherwise).
/// K40: two digits of hundredths are read as milliseconds (docs/kept-behaviour.md).
struct Time_Field {
    int start, count, needed_length;
    WORD SYSTEMTIME::*part;
};
constexpr Time_Field time_fields[] = {
    {0, 4, 4, &SYSTEMTIME::wYear},
    {4, 2, 6, &SYSTEMTIME::wMonth},
    {6, 2, 8, &SYSTEMTIME::wDay},
    {8, 2, 10, &SYSTEMTIME::wHour},
    {10, 2, 12, &SYSTEMTIME::wMinute},
    {12, 2, 14, &SYSTEMTIME::wSecond},
    {14, 3, 16, &SYSTEMTIME::wMilliseconds},
};

/// Sets the equipment clock to a TIME. False, the clock as it was, when the system refuses.
bool set_clock(BC_FA& fa, const char* text) {
    const int length = static_cast<int>(std::strlen(text));
    std::array<int, std::size(time_fields)> read{};
    SYSTEMTIME time;
    GetLocalTime(&time);
    for (std::size_t i = 0; i < read.size(); ++i) {
        const Time_Field& field = time_fields[i];
        if (length >= field.needed_length)
            read[i] = QStr_Ext_Int_From_Str(text, field.start, std::min(field.count, length - field.start));
        time.*field.part = static_cast<WORD>(read[i]);
    }
    QPrint(fa.Print_Tag,
           "时间获取: %s   -  nYear:%d , nMonth:%d , nDay:%d , nHour:%d , nMin:%d , nSec:%d , nMilSec%d.",
           text, read[0], read[1], read[2], read[3], read[4], read[5], read[6]);
    fa.Enable_Systemtime_Privilege();  // without it SetLocalTime fails
    return SetLocalTime(&time) != 0;
}

bool fail(BC_FA& fa, const char* text) {
    QPrint_Red(fa.Print_Tag, "%s", text);
    return false;
}

bool enable_systemtime(BC_FA& fa, HANDLE token) {
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (LookupPrivilegeValueA(nullptr, "SeSystemtimePrivilege", &wanted.Privileges[0].Luid) == 0)
        return fail(fa, "Failed in callup to lookup privilege");
    if (AdjustTokenPrivileges(token, 0, &wanted, 0, nullptr, nullptr) == 0)
        return fail(fa, "Failed to adjust SetTime privilege");
    return true;
}

Item_Owner binary_item(std::string bytes) {
    return Item_Owner(
        SecsCreateItemBinary(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size())));
}

}  // namespace

bool BC_FA::Enable_Systemtime_Privilege() {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token) == 0)
        return fail(*this, "Failed to get Adjust privilege token");
    const bool enabled = enable_systemtime(*this, token);
    CloseHandle(token);
    return enabled;
}

_SECS_ITEM* BC_FA::send_S02F17(void* /*handle*/, void* /*param*/) {
    return SecsCreateItemEmpty();
}

unsigned long BC_FA::recv_S02F18(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    if (item->format != SECS_FORMAT_A) {
        OnlineLog("消息头格式错误 , 必须是 A. [代码行:%s:%d]", FA_CODE_LINE("recv_S02F18"));
        return Format_Error;
    }
    const char* text = Item_Text(*item);
    if (*text == '\0') return 0;  // K23 (docs/kept-behaviour.md)
    if (set_clock(*this, text)) return 1;
    const std::string error = QStr_Get_SysErrMsg();
    OnlineLog("时间设置失败[错误信息:%s]. [代码行:%s:%d]", error.c_str(), FA_CODE_LINE("recv_S02F18"));
    QPrint_Red(Print_Tag, "时间设置失败[错误信息:%s]. [代码行:%s:%d]", error.c_str(),
               FA_CODE_LINE("recv_S02F18"));
    return 0;
}

unsigned long BC_FA::reply_S02F17(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    return Reply_And_Log(handle, 2, 18, Ascii_Item(QTime_Get_DateTimeID2_Str()), msgid);
}

unsigned long BC_FA::reply_S02F31(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_A) {
        // K27: the text says B (docs/kept-behaviour.md).
        OnlineLog("消息头格式错误 , 必须是 B. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F31"));
        return Format_Error;
    }
    const char* text = Item_Text(*item);
    unsigned char tiack = 1;
    if (*text == '\0') {
        OnlineLog("日期时间字符串异常. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F31"));
    } else if (set_clock(*this, text)) {
        tiack = 0;
    } else {
        const std::string error = QStr_Get_SysErrMsg();
        OnlineLog("时间设置失败(错误信息:%s). [代码行:%s:%d]", error.c_str(), FA_CODE_LINE("reply_S02F31"));
        QPrint_Red(Print_Tag, "时间设置失败[错误信息:%s]. [代码行:%s:%d]", error.c_str(),
                   FA_CODE_LINE("reply_S02F31"));
    }
    return Reply_And_Log(handle, 2, 32, Acknowledge_Item(tiack), msgid);
}

_SECS_ITEM* BC_FA::send_S02F25(void* /*handle*/, void* /*param*/) {
    return binary_item(Loopback_Pattern).release();
}

unsigned long BC_FA::recv_S02F26(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    if (item->format != SECS_FORMAT_B) {
        OnlineLog("消息头格式错误 , 必须是 B. [代码行:%s:%d]", FA_CODE_LINE("recv_S02F26"));
        return Format_Error;
    }
    // Compared as texts: what the host sends after a zero byte does not count.
    if (QStr_Compare(Item_Text(*item), Loopback_Pattern)) return 1;
    OnlineLog("LoopBack Diagnostic 校验错误. [代码行:%s:%d]", FA_CODE_LINE("recv_S02F26"));
    return 0;
}

unsigned long BC_FA::reply_S02F25(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (item->format != SECS_FORMAT_B) {
        OnlineLog("消息头格式错误 , 必须是 B. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F25"));
        return Format_Error;
    }
    return Reply_And_Log(handle, 2, 26, binary_item(std::string(Item_Text(*item), item->length)), msgid);
}

}  // namespace Talwen
