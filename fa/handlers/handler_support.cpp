#include "fa/handlers/handler_support.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

template <class Element>
int first_as_int(const _SECS_ITEM& item) {
    Element value;
    std::memcpy(&value, item.value, sizeof value);
    return static_cast<int>(value);
}

}  // namespace

bool Read_Identifier(const _SECS_ITEM& item, int* id) {
    switch (item.format) {
        case SECS_FORMAT_U1: *id = first_as_int<std::uint8_t>(item); return true;
        case SECS_FORMAT_U2: *id = first_as_int<std::uint16_t>(item); return true;
        case SECS_FORMAT_U4: *id = first_as_int<std::uint32_t>(item); return true;
        case SECS_FORMAT_U8: *id = first_as_int<std::uint64_t>(item); return true;
        case SECS_FORMAT_I1: *id = first_as_int<std::int8_t>(item); return true;
        case SECS_FORMAT_I2: *id = first_as_int<std::int16_t>(item); return true;
        case SECS_FORMAT_I4: *id = first_as_int<std::int32_t>(item); return true;
        case SECS_FORMAT_I8: *id = first_as_int<std::int64_t>(item); return true;
        case SECS_FORMAT_A: *id = static_cast<int>(std::strtol(Item_Text(item), nullptr, 10)); return true;
        default: return false;
    }
}

const char* Item_Text(const _SECS_ITEM& item) {
    return item.data != nullptr ? item.data : item.value;
}

unsigned long Reply_And_Log(void* handle, unsigned char stream, unsigned char function, _SECS_ITEM* root,
                            unsigned long msgid) {
    const unsigned long result = SecsReplyMessageItem(handle, stream, function, root, 0, msgid);
    QFA_Message_Print_SML(handle, stream, function, root, result, 1);
    SecsDeleteItem(root);
    return result;
}

_SECS_ITEM* Acknowledge_Item(unsigned char code) {
    return SecsCreateItemBinary(&code, 1);
}

_SECS_ITEM* Placeholder_Item() {
    return SecsCreateItemAscii("-");
}

}  // namespace Talwen
