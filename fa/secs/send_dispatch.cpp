#include <stdexcept>

#include "fa/framework/qprint.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/handler_routes.h"

namespace Talwen {

_SECS_ITEM* OnSendMessageBuffer(void* handle, unsigned char stream, unsigned char function, void* param) {
    BC_FA* module = FA_Instance;
    if (module == nullptr) return nullptr;
    try {
        if (const Message_Builder builder = Find_Builder(stream, function))
            return (module->*builder)(handle, param);
        return module->send_SxxFxx(handle, stream, function, param);
    } catch (const std::runtime_error& error) {
        QPrint_Red(module->Print_Tag, "%s , send_S%dF%d 捕捉到异常:%s.", "OnSendMessageBuffer", stream,
                   function, error.what());
        return nullptr;
    }
}

}  // namespace Talwen
