// Messages without a handler of their own, and function 0 (abort) of every stream.
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

_SECS_ITEM* BC_FA::send_SxxFxx(void* /*handle*/, unsigned char /*stream*/, unsigned char /*function*/,
                               void* /*param*/) {
    return nullptr;
}

unsigned long BC_FA::recv_SxxFxx(void* /*handle*/, unsigned char /*stream*/, unsigned char /*function*/,
                                 _SECS_ITEM* /*item*/, unsigned long /*msgid*/) {
    return Not_Handled;
}

// K6: no answer to an unknown primary, neither an abort nor an S9 message (docs/kept-behaviour.md).
unsigned long BC_FA::reply_SxxFxx(void* /*handle*/, unsigned char /*stream*/, unsigned char /*function*/,
                                  _SECS_ITEM* /*item*/, unsigned long /*msgid*/) {
    return Not_Handled;
}

// The host aborts: for stream 1 that takes the equipment off-line, without an event and without
// Control_State.
unsigned long BC_FA::recv_SxxF00(void* /*handle*/, unsigned char stream, unsigned char /*function*/,
                                 _SECS_ITEM* /*item*/, unsigned long /*msgid*/) {
    if (stream == 1) Host_Aborts(*this);
    return 1;
}

unsigned long BC_FA::reply_SxxF00(void* handle, unsigned char stream, unsigned char /*function*/,
                                  _SECS_ITEM* /*item*/, unsigned long msgid) {
    const unsigned long result = Reply_And_Log(handle, stream, 0, nullptr, msgid);
    SecsDeleteItem(
        nullptr);  // an owner of nothing frees nothing; the driver is called as for every other answer
    return result;
}

}  // namespace Talwen
