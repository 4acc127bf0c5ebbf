#include "fa/framework/qprint.h"
#include "fa/framework/qsequence.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/module_state.h"

namespace Talwen {

void OnSelect(void* /*handle*/) {
    const Callback_Use use;
    QSequence* module = use.module();
    if (module == nullptr) return;
    if (module->QIO_Get_GEM_PrnChk() != 0) QPrint_Yellow(module->Print_Tag, "OnSelect.");
    Link_Selected(*module);
}

void OnDeselect(void* /*handle*/) {
    const Callback_Use use;
    QSequence* module = use.module();
    if (module == nullptr) return;
    if (module->QIO_Get_GEM_PrnChk() != 0) QPrint_Yellow(module->Print_Tag, "OnDeselect.");
    Link_Deselected(*module);
}

void OnClose(void* /*handle*/) {
    Link_Is_Gone();
    const Callback_Use use;
    QSequence* module = use.module();
    if (module == nullptr) return;
    QPrint_Yellow(module->Print_Tag, "OnClose");
    Link_Closed(*module);
}

unsigned long OnError(void* /*handle*/, unsigned long msgid) {
    const Callback_Use use;
    if (const QSequence* module = use.module())
        QPrint_Red(module->Print_Tag, "OnError: MsgID:%d Host Reply Timeout.", static_cast<int>(msgid));
    return 0;
}

}  // namespace Talwen
