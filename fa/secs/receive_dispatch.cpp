#include <atomic>
#include <cstdint>
#include <stdexcept>

#include "fa/framework/qprint.h"
#include "fa/framework/qtime.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/module/module_threads.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/handler_routes.h"
#include "fa/secs/link_names.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/sml_log.h"

namespace Talwen {

namespace {

std::atomic<std::uint16_t> Link_Device_Id{0};
std::atomic<std::uint32_t> Link_Epoch{0};

constexpr unsigned long not_handled = static_cast<unsigned long>(-5L);
constexpr unsigned long failed = static_cast<unsigned long>(-7L);
constexpr unsigned long other_device = 0xFFFFFFFFUL;

/// One received message on its way to a handler.
struct Received {
    void* handle;
    unsigned long msgid;
    unsigned char stream;
    unsigned char function;
    _SECS_ITEM* item;
    std::uint32_t epoch;  ///< of the connection that it came over

    bool is_primary() const { return (function & 1U) != 0; }
};

enum class Gate { pass, off_line, disabled };

/// Communication and control state decide, on the side that Comm_New_Version makes the authoritative one; the
/// other side follows.
Gate state_gate(BC_FA& module) {
    if (Comm_New_Version) {
        if (module.QIO_Get_GEM_Comm_Enable() == 0) {
            module.QFA_Set_Enable(0);
            return Gate::disabled;
        }
        if (module.QIO_Get_GEM_Online_Status() != 0) return Gate::pass;
        module.QFA_Set_CtrlMD(FA_Ctrl_OffLine);
        return Gate::off_line;
    }
    if (module.QFA_Get_Enable() == 0) {
        module.QIO_Set_GEM_Comm_Enable(0);
        return Gate::disabled;
    }
    if (module.QFA_Get_CtrlMD() != FA_Ctrl_OffLine) return Gate::pass;
    module.QIO_Set_GEM_Online_Status(0);
    return Gate::off_line;
}

bool passes_off_line(const Received& message) {
    if (!message.is_primary()) return true;
    return message.stream == 1 && (message.function == 1 || message.function == 13 || message.function == 17);
}

/// An off-line equipment that receives a stream 9 message with an odd function never gets out of its filter:
/// the callback stays here until its connection or the module ends. That is how the system behaves towards a
/// host; do not let the message through and do not refuse it. Nothing else waits for this callback.
void stay_in_off_line_filter(const BC_FA& module, std::uint32_t epoch) {
    while (Link_Epoch == epoch && !Module_Stopping(module)) QTime_MSleep(50);
}

unsigned long fall_back(BC_FA& module, const Received& m) {
    if (m.function == 0) return module.recv_SxxF00(m.handle, m.stream, m.function, m.item, m.msgid);
    if (m.is_primary()) return module.reply_SxxFxx(m.handle, m.stream, m.function, m.item, m.msgid);
    return module.recv_SxxFxx(m.handle, m.stream, m.function, m.item, m.msgid);
}

unsigned long route(BC_FA& module, const Received& m) {
    // S9F0 is a listed pair without a handler: swallowed, not handed to the fallback.
    if (m.stream == 9 && m.function == 0) return not_handled;
    if (const Message_Handler handler = Find_Handler(m.stream, m.function))
        return (module.*handler)(m.handle, m.item, m.msgid);
    return fall_back(module, m);
}

/// Gate, handler, and the wake-up of a sender that may be waiting for this message.
unsigned long dispatch(BC_FA& module, const Received& m, bool reply_expected) {
    unsigned long result = not_handled;
    switch (state_gate(module)) {
        case Gate::disabled: result = 1; break;
        case Gate::pass: result = route(module, m); break;
        case Gate::off_line:
            if (passes_off_line(m)) {
                result = route(module, m);
            } else if (m.stream == 9) {
                stay_in_off_line_filter(module, m.epoch);
                return result;
            } else {
                result = module.reply_SxxF00(m.handle, m.stream, m.function, m.item, m.msgid);
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
    Link_Device_Id = device_id;
}
void Link_Is_Gone() {
    ++Link_Epoch;
}

unsigned long OnRecvMessageBuffer(void* handle, unsigned short device_id, unsigned long msgid,
                                  unsigned char stream, unsigned char function, char* buffer,
                                  unsigned long length, bool reply_expected) {
    const Callback_Use use;
    BC_FA* module = use.module();
    if (module == nullptr) return not_handled;

    const std::uint32_t epoch = Link_Epoch;  // first of all: a close from here on is this connection's
    _SECS_ITEM item;
    SecsInitItem(&item);
    SecsItemLoadBuffer(&item, buffer, static_cast<int>(length));
    QFA_Message_Print_SML(handle, stream, function, &item, msgid, 0);
    if (device_id != Link_Device_Id && stream != 9) return other_device;
    try {
        return dispatch(*module, {handle, msgid, stream, function, &item, epoch}, reply_expected);
    } catch (const std::runtime_error& error) {
        QPrint_Red(module->Print_Tag, "%s , MsgID:%d , S%dF%d , 捕捉到异常:%s.", "OnRecvMessageBuffer",
                   static_cast<int>(msgid), stream, function, error.what());
        return failed;
    }
}

}  // namespace Talwen
