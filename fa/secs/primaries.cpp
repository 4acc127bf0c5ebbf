#include "fa/secs/primaries.h"

#include <stdexcept>
#include <utility>

#include "fa/framework/qprint.h"
#include "fa/framework/qsequence.h"
#include "fa/secs/message_handlers.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "fa/secs/reply_wait.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

bool Queue_Primary(unsigned char stream, unsigned char function, std::vector<std::string> params) {
    // K2: empty parameters are left out (docs/kept-behaviour.md).
    std::erase_if(params, [](const std::string& param) { return param.empty(); });
    FA_Message entry{stream, function, std::move(params), nullptr, 0};
    entry.item = OnSendMessageBuffer(nullptr, stream, function, &entry.params);
    if (entry.item == nullptr) return false;
    Queue_Message(std::move(entry));
    return true;
}

bool Queue_Event_Report(int ceid) {
    return Queue_Primary(6, 11, {std::to_string(ceid)});
}

bool Queue_Trace_Sample(int trid, int number) {
    return Queue_Primary(6, 1, {std::to_string(trid), std::to_string(number)});
}

bool Queue_Alarm_Report(unsigned char alcd, int alid, std::string text) {
    // A code of 0 is a text of one NUL byte, not an empty one, so it keeps its place.
    return Queue_Primary(5, 1,
                         {std::string(1, static_cast<char>(alcd)), std::to_string(alid), std::move(text)});
}

bool QFA_Message_PushBack(unsigned char stream, unsigned char function, std::string* p1, std::string* p2,
                          std::string* p3, std::string* p4, std::string* p5) {
    std::vector<std::string> params;
    for (const std::string* param : {p1, p2, p3, p4, p5})
        if (param != nullptr) params.push_back(*param);
    return Queue_Primary(stream, function, std::move(params));
}

_SECS_ITEM* OnSendMessageBuffer(void* handle, unsigned char stream, unsigned char function, void* param) {
    QSequence* module = FA_Instance;
    if (module == nullptr) return nullptr;
    try {
        return Build_Message(*module, handle, stream, function, param);
    } catch (const std::runtime_error& error) {
        QPrint_Red(module->Print_Tag, "%s , send_S%dF%d 捕捉到异常:%s.", "OnSendMessageBuffer", stream,
                   function, error.what());
        return nullptr;
    }
}

unsigned long QFA_Message_Send(void* handle, FA_Message* entry) {
    if (entry->item == nullptr) return 0;
    Send_Begins();
    const unsigned long msgid = SecsSendMessageItem(handle, entry->stream, entry->function, entry->item, 1);
    QFA_Message_Print_SML(handle, entry->stream, entry->function, entry->item, msgid, 1);
    Forget_Front_Item(entry->item);
    SecsDeleteItem(entry->item);
    entry->item = nullptr;
    QFA_Set_RequestID(msgid);
    return msgid;
}

}  // namespace Talwen
