// Bodies of the handlers that this version does not support, made from the list.
#include "fa/module/bc_fa.h"
#include "fa/secs/handler_results.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

void log_unsupported(const char* handler, unsigned long msgid) {
    OnlineLog("%s , 当前版本不支持.(Msg_Id:%ld)", handler, static_cast<long>(msgid));
}

}  // namespace

#define FA_NONE_send(ss, ff)                                                  \
    _SECS_ITEM* BC_FA::send_S##ss##F##ff(void* /*handle*/, void* /*param*/) { \
        log_unsupported("Talwen::BC_FA::send_S" #ss "F" #ff, 0);              \
        return nullptr;                                                       \
    }
#define FA_NONE_received(name)                                                               \
    unsigned long BC_FA::name(void* /*handle*/, _SECS_ITEM* /*item*/, unsigned long msgid) { \
        log_unsupported("Talwen::BC_FA::" #name, msgid);                                     \
        return Not_Handled;                                                                  \
    }
#define FA_NONE_recv(ss, ff) FA_NONE_received(recv_S##ss##F##ff)
#define FA_NONE_reply(ss, ff) FA_NONE_received(reply_S##ss##F##ff)
#define FA_BODY_full(kind, stream, function)
#define FA_BODY_none(kind, stream, function) FA_NONE_##kind(stream, function)
#define FA_HANDLER(kind, stream, function, support) FA_BODY_##support(kind, stream, function)
#include "fa/module/handlers.def"

}  // namespace Talwen
