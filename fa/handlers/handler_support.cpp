#include "fa/handlers/handler_support.h"

#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

const char* Item_Text(const _SECS_ITEM& item) {
    return item.data != nullptr ? item.data : item.value;
}

unsigned long Reply_And_Log(void* handle, unsigned char stream, unsigned char function, Item_Owner root,
                            unsigned long msgid) {
    const unsigned long result = SecsReplyMessageItem(handle, stream, function, root.get(), 0, msgid);
    QFA_Message_Print_SML(handle, stream, function, root.get(), result, 1);
    return result;
}

unsigned long Reply_Verdict(void* handle, unsigned char stream, unsigned char function, Verdict verdict,
                            unsigned long msgid) {
    if (!verdict) return Format_Error;
    return Reply_And_Log(handle, stream, function, Acknowledge_Item(*verdict), msgid);
}

Item_Owner Acknowledge_Item(unsigned char code) {
    return Item_Owner(SecsCreateItemBinary(&code, 1));
}

Item_Owner Placeholder_Item() {
    return Ascii_Item("-");
}

}  // namespace Talwen
