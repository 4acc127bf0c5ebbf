// Stream 5: alarm reports, their enables and lists (SEMI E5).
#include <mutex>
#include <string>
#include <vector>

#include "fa/config/alarm_table.h"
#include "fa/config/config_file.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

constexpr unsigned char refused = 1;       // ACKC5 of S5F4
constexpr unsigned char alarm_set = 0x80;  // bit 8 of ALCD; in ALED: enable

/// L[3] <B ALCD> <U4 ALID> <A ALTX>
Item_Owner alarm_item(unsigned char alcd, int alid, const char* altx) {
    return List_Item{Acknowledge_Item(alcd), U4_Item(alid), Ascii_Item(altx)};
}

/// What the list of alarms says of one; an empty list for an unknown alarm.
Item_Owner listed_alarm(BC_FA& fa, int alid) {
    ALID_STRU* record = nullptr;
    if (!fa.QFA_Get_ALID_Stru(alid, &record)) return Empty_List();
    char text[512] = "";
    fa.QAlarm_Get_Text_Full(record->index, text);
    return alarm_item(record->ALCD, record->ALID, text);
}

unsigned long reply_alarms(BC_FA& fa, void* handle, unsigned char function, const std::vector<int>& alids,
                           unsigned long msgid) {
    Item_Owner root = Empty_List(alids.size());
    for (const int alid : alids) Append_Item(root, listed_alarm(fa, alid));
    return Reply_And_Log(handle, 5, function, std::move(root), msgid);
}

enum class Alarms { all, enabled };

std::vector<int> numbers(Alarms which) {
    std::vector<int> alids;
    const std::lock_guard lock(ALID_Mutex);
    for (const auto& [alid, record] : ALID_List)
        if (which == Alarms::all || record.enable) alids.push_back(alid);
    return alids;
}

/// An item without an ALID means all alarms.
bool names_no_alarm(const _SECS_ITEM& item) {
    if (item.format == SECS_FORMAT_L) return item.count == 0;
    if (item.format == SECS_FORMAT_NONE) return true;  // a header-only message
    return item.length == 0 && (item.format == SECS_FORMAT_A || Integer_Size(item.format) != 0);
}

/// The alarms that one item names: the identifiers of a list, every element of an integer array, or a text.
bool read_alids(const _SECS_ITEM& item, std::vector<int>& alids) {
    if (item.format == SECS_FORMAT_L) {
        int alid = 0;
        for (int i = 0; i < item.count; ++i) {
            if (!Read_Identifier(*item.children[i], &alid)) return false;
            alids.push_back(alid);
        }
        return true;
    }
    if (item.format == SECS_FORMAT_A) alids.push_back(Config_Int(Item_Text(item)));
    for (std::size_t i = 0; i < Integer_Count(item); ++i)
        alids.push_back(To_32_Bits(Integer_Element(item, i)));
    return item.format == SECS_FORMAT_A || Integer_Size(item.format) != 0;
}

}  // namespace

// Parameters: ALCD as one byte (which may be 0), ALID in decimal, ALTX. The queue leaves an empty ALTX out.
_SECS_ITEM* BC_FA::send_S05F01(void* /*handle*/, void* param) {
    const auto& params = *static_cast<const std::vector<std::string>*>(param);
    if (params.size() != 2 && params.size() != 3) {
        OnlineLog("参数链表长度错误 , 必须是 L3. [代码行:%s:%d]", FA_CODE_LINE("send_S05F01"));
        return nullptr;
    }
    return alarm_item(static_cast<unsigned char>(params[0][0]), Config_Int(params[1]),
                      params.size() == 3 ? params[2].c_str() : "")
        .release();
}

unsigned long BC_FA::recv_S05F02(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    if (item->format != SECS_FORMAT_B) {
        OnlineLog("<ACKC5> 格式错误 , 必须是 B. [代码行:%s:%d]", FA_CODE_LINE("recv_S05F02"));
        return Format_Error;
    }
    if (item->value[0] == 0) return 1;
    OnlineLog("主机拒绝. [代码行:%s:%d]", FA_CODE_LINE("recv_S05F02"));
    return 0;
}

unsigned long BC_FA::reply_S05F03(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (!Is_List_Of(*item, 2)) {
        OnlineLog("消息头格式错误 , 必须是 L2. [代码行:%s:%d]", FA_CODE_LINE("reply_S05F03"));
        return Format_Error;
    }
    const _SECS_ITEM& aled = *item->children[0];
    const _SECS_ITEM& alarm = *item->children[1];
    if (aled.format != SECS_FORMAT_B || aled.length == 0) {
        OnlineLog("<ALED> 格式错误 , 必须是 B. [代码行:%s:%d]", FA_CODE_LINE("reply_S05F03"));
        return Format_Error;
    }
    const bool enable = (static_cast<unsigned char>(aled.value[0]) & alarm_set) != 0;
    unsigned char ackc5 = Accepted;
    int alid = 0;
    if (names_no_alarm(alarm)) {
        QFA_Set_All_ALID_Enable(enable);
    } else if (!Read_Identifier(alarm, &alid)) {
        OnlineLog("<ALID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S05F03"));
        return Format_Error;
    } else if (!QFA_Set_ALID_Enable(alid, enable)) {
        ackc5 = refused;
    }
    return Reply_Verdict(handle, 5, 4, ackc5, msgid);
}

unsigned long BC_FA::reply_S05F05(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    std::vector<int> alids;
    if (names_no_alarm(*item)) {
        alids = numbers(Alarms::all);
    } else if (!read_alids(*item, alids)) {
        OnlineLog("<ALID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S05F05"));
        return Format_Error;
    }
    return reply_alarms(*this, handle, 6, alids, msgid);
}

unsigned long BC_FA::reply_S05F07(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    return reply_alarms(*this, handle, 8, numbers(Alarms::enabled), msgid);
}

}  // namespace Talwen
