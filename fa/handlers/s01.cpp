// Stream 1: are you there, establish communication, off-line and on-line requests (SEMI E30).
#include <cstdint>
#include <cstring>

#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

enum : unsigned char { accepted = 0, denied = 1, already = 2 };

/// L[2] <A MDLN> <A SOFTREV>
Item_Owner model_and_revision(BC_FA& fa) {
    return List_Item{Ascii_Item(fa.QIO_Get_GEM_Model_Number()), Ascii_Item(fa.QIO_Get_GEM_Soft_Revision())};
}

}  // namespace

_SECS_ITEM* BC_FA::send_S01F01(void* /*handle*/, void* /*param*/) {
    return SecsCreateItemEmpty();
}

_SECS_ITEM* BC_FA::send_S01F13(void* /*handle*/, void* /*param*/) {
    return model_and_revision(*this).release();
}

unsigned long BC_FA::reply_S01F01(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    Host_Asks_Are_You_There(*this);
    return Reply_And_Log(handle, 1, 2, model_and_revision(*this), msgid);
}

unsigned long BC_FA::recv_S01F02(void* /*handle*/, _SECS_ITEM* /*item*/, unsigned long /*msgid*/) {
    Host_Answers_Are_You_There(*this);
    return 1;
}

unsigned long BC_FA::reply_S01F13(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    const bool accept = Host_Establishes_Communication(*this);
    const unsigned long result = Reply_And_Log(
        handle, 1, 14, List_Item{Acknowledge_Item(accept ? accepted : denied), model_and_revision(*this)},
        msgid);
    if (accept) Enter_Initial_Control_State(*this);
    return result;
}

unsigned long BC_FA::recv_S01F14(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    if (!Is_List_Of(*item, 2)) {
        OnlineLog("消息头 格式错误 , 必须是 L2.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    const _SECS_ITEM& commack = *item->children[0];
    const _SECS_ITEM& identity = *item->children[1];
    if (commack.format != SECS_FORMAT_B) {
        OnlineLog("<COMMACK> 格式错误 , 必须是 B.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    if (identity.format != SECS_FORMAT_L) {
        OnlineLog("L[1] 格式错误 , 必须是 L.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    if (commack.value[0] != 0) {
        Host_Refuses_Communication(*this);
        return 0;
    }
    Host_Accepts_Communication(*this);

    // K21: the host's names are checked only after the state was written (docs/kept-behaviour.md).
    if (identity.count != 2) return 1;
    const unsigned char mdln = identity.children[0]->format;
    const unsigned char softrev = identity.children[1]->format;
    if (mdln != SECS_FORMAT_B && mdln != SECS_FORMAT_A) {
        OnlineLog("<MDLN> 格式错误 , 必须是 B/A.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    // K21: with an MDLN of B, any SOFTREV passes (docs/kept-behaviour.md).
    if (softrev != SECS_FORMAT_A && mdln != SECS_FORMAT_B) {
        OnlineLog("<SOFTREV> 格式错误 , 必须是 B/A.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    return 1;
}

unsigned long BC_FA::reply_S01F15(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    const bool accept = Host_Requests_Off_Line(*this);
    const Item_Owner root = Acknowledge_Item(accept ? accepted : already);
    const unsigned long result = SecsReplyMessageItem(handle, 1, 16, root.get(), 0, msgid);
    // K8: logged under the received message id (docs/kept-behaviour.md).
    QFA_Message_Print_SML(handle, 1, 16, root.get(), msgid, 1);
    if (accept) Go_Off_Line_For_Host(*this);
    return result;
}

namespace {

/// The value that a request on-line carries: 0 unless its body is an integer or binary item with an element.
int on_line_request_value(const _SECS_ITEM& item) {
    if (item.format == SECS_FORMAT_B) return static_cast<signed char>(item.value[0]);
    int value = 0;
    if (item.format != SECS_FORMAT_A) Read_Low_32_Bits(item, &value);
    return value;
}

}  // namespace

unsigned long BC_FA::reply_S01F17(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    const int value = on_line_request_value(*item);
    const bool accept = Host_Requests_On_Line(*this, value);
    const unsigned long result =
        Reply_And_Log(handle, 1, 18, Acknowledge_Item(accept ? accepted : already), msgid);
    if (accept) Go_On_Line_For_Host(*this, value);
    return result;
}

}  // namespace Talwen
