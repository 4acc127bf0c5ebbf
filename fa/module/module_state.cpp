#include "fa/module/module_state.h"

namespace Talwen {

std::atomic<BC_FA*> FA_Instance{nullptr};
std::atomic<bool> Comm_New_Version{true};
std::atomic<bool> Main_Monitor_Running{false};
std::atomic<bool> TRID_Monitor_Running{false};
std::atomic<bool> Reconnect{false};

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

}  // namespace Talwen
