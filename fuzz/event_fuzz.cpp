// The event entry point: any text in any state is carried out, refused or ignored, and nothing leaves it.
#include <string>

#include "fuzz/module_under_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Talwen::BC_FA& module = fuzz::demo().module;
    fuzz::set_states(data[0]);
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    module.QProgram_Event_Code(text.c_str());
    fuzz::forget();
    return 0;
}
