#include "fa/secs/module_state.h"

#include <algorithm>

#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "fa/secs/secs_data.h"

namespace Talwen {

bool QFA_Get_Comm_New_Version_Flag() {
    return Comm_New_Version;
}
bool QFA_Get_Main_Monitor_Running_Flag() {
    return Main_Monitor_Running;
}
bool QFA_Get_TRID_Monitor_Running_Flag() {
    return TRID_Monitor_Running;
}
bool QFA_Get_Reconnect_Flag() {
    return Reconnect;
}

bool Module_Stopping(const QSequence& module) {
    return module.Stop_Request != 0 || Threads_Ending;
}

void Sleep_Unless_Stopping(const QSequence& module, unsigned int ms) {
    constexpr unsigned int slice = 100;
    for (; ms > 0 && !Module_Stopping(module); ms -= std::min(ms, slice)) QTime_MSleep(std::min(ms, slice));
}

// The count rises before the pointer is read, and the destructor clears the pointer before it looks at the
// count.
Callback_Use::Callback_Use() {
    ++Secs.Callbacks_Running;
    module_ = FA_Instance;
}
Callback_Use::~Callback_Use() {
    --Secs.Callbacks_Running;
}
void Callback_Use::await_none() {
    while (Secs.Callbacks_Running != 0) QTime_MSleep(1);
}

}  // namespace Talwen
