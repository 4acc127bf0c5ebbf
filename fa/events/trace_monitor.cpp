#include "fa/framework/qprint.h"
#include "fa/framework/qtime.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/module/module_threads.h"

namespace Talwen {

// No traces are defined in this version, so the thread only lives and ends with the module.
void BC_FA::Thread_FA_TRID_Monitor() {
    constexpr unsigned int period_ms = 500;
    TRID_Monitor_Running = true;
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 启动... ...");
    while (!Module_Stopping(*this)) QTime_MSleep(period_ms);
    QPrint_Yellow(Print_Tag, "Thread_FA_TRID_Monitor 退出... ...");
    TRID_Monitor_Running = false;
}

}  // namespace Talwen
