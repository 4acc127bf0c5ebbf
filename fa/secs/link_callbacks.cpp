#include "fa/framework/qprint.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/module/module_threads.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/link_names.h"

namespace Talwen {

namespace {

enum class Selected { no, yes };

/// What select and deselect have in common: the connection stands, and the enable switches and the
/// communication state follow from the side that Comm_New_Version makes the authoritative one.
void take_over_link(BC_FA& module, Selected selected) {
    module.QIO_Set_GEM_Comm_Status(1);
    module.QIO_Set_GEM_Comm_Status2(selected == Selected::yes ? 2 : 1);
    const bool enabled =
        Comm_New_Version ? module.QIO_Get_GEM_Init_CommState() != 1 : module.QFA_Get_Enable() != 0;
    module.QIO_Set_GEM_Comm_Enable(enabled ? 1 : 0);
    module.QFA_Set_Enable(enabled ? 1 : 0);
    module.QFA_Set_LinkMD(enabled ? FA_Link_Enabled : FA_Link_Disabled);
}

void request_initial_control_state(BC_FA& module) {
    switch (Comm_New_Version ? module.QIO_Get_GEM_Init_ControlState() : module.QFA_Get_CtrlMD()) {
        case 0: module.QFA_Request_Offline(); break;
        case 2: module.QFA_Request_Remote(); break;
        default: module.QFA_Request_Local(); break;
    }
}

}  // namespace

void OnSelect(void* /*handle*/) {
    const Callback_Use use;
    BC_FA* module = use.module();
    if (module == nullptr) return;
    if (module->QIO_Get_GEM_PrnChk() != 0) QPrint_Yellow(module->Print_Tag, "OnSelect.");
    take_over_link(*module, Selected::yes);
    request_initial_control_state(*module);
    module->QIO_Set_GEM_Comm_Establish(0);
}

void OnDeselect(void* /*handle*/) {
    const Callback_Use use;
    BC_FA* module = use.module();
    if (module == nullptr) return;
    if (module->QIO_Get_GEM_PrnChk() != 0) QPrint_Yellow(module->Print_Tag, "OnDeselect.");
    take_over_link(*module, Selected::no);
    module->QIO_Set_GEM_Comm_Establish(0);
}

void OnClose(void* /*handle*/) {
    Link_Is_Gone();
    const Callback_Use use;
    BC_FA* module = use.module();
    if (module == nullptr) return;
    QPrint_Yellow(module->Print_Tag, "OnClose");
    module->QFA_Set_LinkMD(FA_Link_Disconn);
    module->QIO_Set_GEM_Comm_Status(0);
    module->QIO_Set_GEM_Comm_Status2(0);
    module->QIO_Set_GEM_Comm_Establish(0);
}

unsigned long OnError(void* /*handle*/, unsigned long msgid) {
    const Callback_Use use;
    if (const BC_FA* module = use.module())
        QPrint_Red(module->Print_Tag, "OnError: MsgID:%d Host Reply Timeout.", static_cast<int>(msgid));
    return 0;
}

}  // namespace Talwen
