// A received message of any stream, function and body, in every state of the gate. Bytes: states, stream,
// function with its W-bit's twin in the device id, body.
#include <string>

#include "fa/secs/dispatch.h"
#include "fuzz/module_under_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t head = 4;
    if (size < head) return 0;
    Talwen::BC_FA& module = fuzz::demo().module;
    fuzz::set_states(data[0]);
    const auto stream = static_cast<unsigned char>(data[1] & 0x7FU);
    const bool reply_expected = (data[1] & 0x80U) != 0;
    // Off-line, a stream 9 primary is held until the module ends; the stop request ends that.
    module.Stop_Request = stream == 9 ? 1 : 0;
    std::string body(reinterpret_cast<const char*>(data) + head, size - head);
    Talwen::OnRecvMessageBuffer(nullptr, data[3] & 1U, 7000, stream, data[2], body.data(), body.size(),
                                reply_expected);
    module.Stop_Request = 0;
    fuzz::forget();
    return 0;
}
