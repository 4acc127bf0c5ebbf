#include <cstdint>
#include <stdexcept>

#include "fa/framework/qprint.h"
#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/handler_results.h"
#include "fa/secs/message_handlers.h"
#include "fa/secs/module_state.h"
#include "fa/secs/reply_wait.h"
#include "fa/secs/secs_data.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

bool passes_off_line(const Received_Message& message) {
    if (!message.is_primary()) return true;
    return message.stream == 1 && (message.function == 1 || message.function == 13 || message.function == 17);
}

/// K4: the callback stays here until its connection or the module ends (docs/kept-behaviour.md).
void stay_in_off_line_filter(const QSequence& module, std::uint32_t epoch) {
    while (Secs.Link_Epoch == epoch && !Module_Stopping(module)) QTime_MSleep(50);
}

/// Gate, handler, and the wake-up of a sender that may be waiting for this message.
unsigned long dispatch(QSequence& module, const Received_Message& m, std::uint32_t epoch,
                       bool reply_expected) {
    unsigned long result = Not_Handled;
    switch (Receive_Gate(module)) {
        case Gate::disabled: result = 1; break;
        case Gate::pass: result = Handle_Message(module, m); break;
        case Gate::off_line:
            if (passes_off_line(m)) {
                result = Handle_Message(module, m);
            } else if (m.stream == 9) {
                stay_in_off_line_filter(module, epoch);
                return result;
            } else {
                result = Refuse_Message(module, m);
            }
            break;
    }
    if (reply_expected) return result;
    if (m.stream == 9)
        End_Wait_In_Flight();
    else
        QFA_Set_ResponseID(m.msgid);
    QFA_Notify_Reply(m.msgid, result);
    return result;
}

}  // namespace

void Set_Link_Device_Id(std::uint16_t device_id) {
    Secs.Link_Device_Id = device_id;
}
void Link_Is_Gone() {
    ++Secs.Link_Epoch;
}

unsigned long OnRecvMessageBuffer(void* handle, unsigned short device_id, unsigned long msgid,
                                  unsigned char stream, unsigned char function, char* buffer,
                                  unsigned long length, bool reply_expected) {
    const Callback_Use use;
    QSequence* module = use.module();
    if (module == nullptr) return Not_Handled;

    const std::uint32_t epoch = Secs.Link_Epoch;  // first of all: a close from here on is this connection's
    _SECS_ITEM item;
    SecsInitItem(&item);
    SecsItemLoadBuffer(&item, buffer, static_cast<int>(length));
    QFA_Message_Print_SML(handle, stream, function, &item, msgid, 0);
    if (device_id != Secs.Link_Device_Id && stream != 9) return Other_Device;
    try {
        return dispatch(*module, {handle, msgid, stream, function, &item}, epoch, reply_expected);
    } catch (const std::runtime_error& error) {
        QPrint_Red(module->Print_Tag, "%s , MsgID:%d , S%dF%d , 捕捉到异常:%s.", "OnRecvMessageBuffer",
                   static_cast<int>(msgid), stream, function, error.what());
        return Format_Error;
    }
}

}  // namespace Talwen
