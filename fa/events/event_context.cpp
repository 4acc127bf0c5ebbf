#include "fa/events/event_context.h"

#include <mutex>
#include <string>

#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"

namespace Talwen {

namespace {

std::mutex Event_Mutex;

bool queue_report(int ceid) {
    std::string text = std::to_string(ceid);
    return QFA_Message_PushBack(6, 11, &text, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

bool Raise_Control_State_Event(BC_FA& fa, int ceid) {
    const std::lock_guard guard(Event_Mutex);
    fa.QIO_Set_GEM_Equip_Status(fa.QIO_Get_CTC_RUN_CONTROL());
    return queue_report(ceid);
}

}  // namespace Talwen
