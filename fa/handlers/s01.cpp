// Stream 1: are you there, establish communication, off-line and on-line requests (SEMI E30).
#include <cstdint>
#include <cstring>

#include "fa/handlers/control_state.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/link_names.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

enum : unsigned char { accepted = 0, denied = 1, already = 2 };

/// L[2] <A MDLN> <A SOFTREV>
_SECS_ITEM* model_and_revision(BC_FA& fa) {
    _SECS_ITEM* root = SecsCreateItemList(2);
    SecsListItemAppend(root, SecsCreateItemAscii(fa.QIO_Get_GEM_Model_Number()));
    SecsListItemAppend(root, SecsCreateItemAscii(fa.QIO_Get_GEM_Soft_Revision()));
    return root;
}

}  // namespace

_SECS_ITEM* BC_FA::send_S01F01(void* /*handle*/, void* /*param*/) {
    return SecsCreateItemEmpty();
}

_SECS_ITEM* BC_FA::send_S01F13(void* /*handle*/, void* /*param*/) {
    return model_and_revision(*this);
}

unsigned long BC_FA::reply_S01F01(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    QIO_Set_GEM_Online_Status(1);
    QIO_Set_GEM_Comm_Establish(1);
    QFA_Set_LinkMD(FA_Link_Commu);
    Enter_Online_Sub_State(*this, Are_You_There::asked_by_host);
    return Reply_And_Log(handle, 1, 2, model_and_revision(*this), msgid);
}

unsigned long BC_FA::recv_S01F02(void* /*handle*/, _SECS_ITEM* /*item*/, unsigned long /*msgid*/) {
    QIO_Set_GEM_Online_Status(1);
    Enter_Online_Sub_State(*this, Are_You_There::asked_by_equipment);
    return 1;
}

unsigned long BC_FA::reply_S01F13(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    // A refusal switches communication off on both sides, so that the next S1F13 is refused as well until the
    // equipment enables communication again.
    const bool accept = QIO_Get_GEM_Comm_Enable() == 1 && QFA_Get_Enable() == 1;
    QFA_Set_Enable(accept ? 1 : 0);
    QIO_Set_GEM_Comm_Enable(accept ? 1 : 0);
    QFA_Set_LinkMD(accept ? FA_Link_Commu : FA_Link_Disabled);
    QIO_Set_GEM_Comm_Establish(accept ? 1 : 0);

    _SECS_ITEM* root = SecsCreateItemList(2);
    SecsListItemAppend(root, Acknowledge_Item(accept ? accepted : denied));
    SecsListItemAppend(root, model_and_revision(*this));
    const unsigned long result = Reply_And_Log(handle, 1, 14, root, msgid);
    // Init_ControlState decides here whatever Comm_New_Version says.
    if (accept) Enter_Initial_Control_State(*this);
    return result;
}

namespace {

/// The older settings: the control mode stands and is carried out. Unlike everywhere else Control_State is
/// left.
void resume_control_mode(BC_FA& fa) {
    switch (fa.QFA_Get_CtrlMD()) {
        case FA_Ctrl_OffLine:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OffLine);
            fa.QIO_Set_GEM_Online_Status(0);
            fa.QFA_Report_Event_EQUIP_OFFLINE();
            break;
        case FA_Ctrl_OnRemote:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnRemote);
            fa.QIO_Set_GEM_Online_Status(1);
            fa.QIO_Set_GEM_Remote_Status(1);
            fa.QFA_Report_Event_ONLINE_REMOTE();
            break;
        default:
            fa.QFA_Set_CtrlMD(FA_Ctrl_OnLocal);
            fa.QIO_Set_GEM_Online_Status(1);
            fa.QIO_Set_GEM_Remote_Status(0);
            fa.QFA_Report_Event_ONLINE_LOCAL();
            break;
    }
}

}  // namespace

unsigned long BC_FA::recv_S01F14(void* /*handle*/, _SECS_ITEM* item, unsigned long /*msgid*/) {
    if (item->format != SECS_FORMAT_L || item->count != 2) {
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
        QFA_Set_LinkMD(FA_Link_Enabled);
        QIO_Set_GEM_Comm_Establish(0);
        return 0;
    }
    if (Comm_New_Version)
        Enter_Initial_Control_State(*this);
    else
        resume_control_mode(*this);
    QIO_Set_GEM_Comm_Establish(1);
    QFA_Set_LinkMD(FA_Link_Commu);

    // Only now are the host's names looked at; what is written above stays even when they are refused.
    if (identity.count != 2) return 1;
    const unsigned char mdln = identity.children[0]->format;
    const unsigned char softrev = identity.children[1]->format;
    if (mdln != SECS_FORMAT_B && mdln != SECS_FORMAT_A) {
        OnlineLog("<MDLN> 格式错误 , 必须是 B/A.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    // A SOFTREV that is no text is judged by MDLN's format, not by its own: hosts that send MDLN as B are let
    // through whatever their SOFTREV is. Do not test SOFTREV for B here.
    if (softrev != SECS_FORMAT_A && mdln != SECS_FORMAT_B) {
        OnlineLog("<SOFTREV> 格式错误 , 必须是 B/A.[代码行:%s:%d]", FA_CODE_LINE("recv_S01F14"));
        return Format_Error;
    }
    return 1;
}

namespace {

/// OFLACK of a request off-line, and what is written before the answer goes out.
unsigned char off_line_acknowledge(BC_FA& fa) {
    unsigned char oflack = accepted;
    if (Comm_New_Version) {
        if (fa.QIO_Get_GEM_Online_Status() == 0 && fa.QIO_Get_GEM_Comm_Establish() == 1) {
            oflack = already;
            fa.QFA_Set_CtrlMD(FA_Ctrl_OffLine);
            fa.QFA_Set_LinkMD(FA_Link_Commu);
        }
    } else if (fa.QFA_Get_CtrlMD() == FA_Ctrl_OffLine && fa.QFA_Get_LinkMD() == FA_Link_Commu) {
        oflack = already;
        fa.QIO_Set_GEM_Comm_Establish(1);
        fa.QIO_Set_GEM_Online_Status(0);
    }
    fa.QIO_Set_GEM_Control_State(2);
    return oflack;
}

}  // namespace

unsigned long BC_FA::reply_S01F15(void* handle, _SECS_ITEM* /*item*/, unsigned long msgid) {
    const unsigned char oflack = off_line_acknowledge(*this);
    _SECS_ITEM* root = Acknowledge_Item(oflack);
    const unsigned long result = SecsReplyMessageItem(handle, 1, 16, root, 0, msgid);
    // This one answer is logged under the received message id, not under the driver's result.
    QFA_Message_Print_SML(handle, 1, 16, root, msgid, 1);
    SecsDeleteItem(root);
    if (oflack == accepted) {
        QFA_Set_CtrlMD(FA_Ctrl_OffLine);
        QFA_Set_LinkMD(FA_Link_Commu);
        QIO_Set_GEM_Comm_Establish(1);
        QIO_Set_GEM_Online_Status(0);
        QIO_Set_GEM_Control_State(2);
        QFA_Report_Event_HOST_OFFLINE();
    }
    return result;
}

namespace {

/// The value that a request on-line carries: 0 unless its body is an integer or binary item with an element.
int on_line_request_value(const _SECS_ITEM& item) {
    if (item.format == SECS_FORMAT_B) return static_cast<signed char>(item.value[0]);
    int value = 0;
    if (item.format != SECS_FORMAT_A) Read_Identifier(item, &value);
    return value;
}

/// A request that finds the equipment on-line and communicating: the states are put straight, without an
/// event.
void confirm_on_line(BC_FA& fa) {
    const int remote = fa.QIO_Get_GEM_Remote_Status();
    if (remote == 0 || remote == 1) {
        fa.QFA_Set_CtrlMD(remote == 0 ? FA_Ctrl_OnLocal : FA_Ctrl_OnRemote);
        fa.QIO_Set_GEM_Control_State(remote == 0 ? 3 : 4);
    }
    fa.QFA_Set_LinkMD(FA_Link_Commu);
}

/// Remote when Online_Init says so, or says "follow" and the remote switch is on; local otherwise.
Control_State requested_sub_state(BC_FA& fa) {
    const int online_init = fa.QIO_Get_GEM_Online_Init();
    const bool remote = online_init == 1 || (online_init == 2 && fa.QIO_Get_GEM_Remote_Status() == 1);
    return remote ? Control_State::remote : Control_State::local;
}

/// The request is honoured whatever Comm_New_Version says. The values 1 and 2 force a sub-state but leave
/// Online_Status as it stands.
void go_on_line(BC_FA& fa, int value) {
    if (value == 1 || value == 2) {
        Enter_Control_State(fa, value == 1 ? Control_State::local : Control_State::remote,
                            Online_Status::left);
        return;
    }
    fa.QIO_Set_GEM_Comm_Establish(1);
    fa.QIO_Set_GEM_Online_Status(1);
    fa.QFA_Set_LinkMD(FA_Link_Commu);
    Enter_Control_State(fa, requested_sub_state(fa), Online_Status::left);
}

}  // namespace

unsigned long BC_FA::reply_S01F17(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    const int value = on_line_request_value(*item);
    const bool on_line_already =
        value == 0 && QIO_Get_GEM_Online_Status() == 1 && QIO_Get_GEM_Comm_Establish() == 1;
    if (on_line_already) confirm_on_line(*this);
    const unsigned long result =
        Reply_And_Log(handle, 1, 18, Acknowledge_Item(on_line_already ? already : accepted), msgid);
    if (!on_line_already) go_on_line(*this, value);
    return result;
}

}  // namespace Talwen
