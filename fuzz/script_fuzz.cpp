// The host's script reader: any text is a script or refused with a place.
#include <string_view>

#include "fuzz/require.h"
#include "sml/script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        sml::Place last{0, 0};
        for (const sml::Step& step : sml::parse_script(text)) {
            const bool after = step.place.line > last.line ||
                               (step.place.line == last.line && step.place.column > last.column);
            require(after, "steps follow each other");
            require(step.duration.count() >= 0, "no step takes negative time");
            last = step.place;
        }
    } catch (const sml::SyntaxError& error) {
        require(error.place.line >= 1 && error.place.column >= 1, "an error has a place");
    }
    return 0;
}
