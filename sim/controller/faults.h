// Exceptions that leave the module are the framework's to catch: one line on the console and in the framework
// log.
#pragma once

#include <exception>
#include <optional>
#include <string>

namespace sim {

/// Writes "exception left ENTRY: REASON" to the console and the framework log; returns it.
std::string report_fault(const char* entry, const char* reason);

/// Calls an entry point of the module; returns what left it, nothing when it returned.
template <class Call>
std::optional<std::string> guarded(const char* entry, Call call) {
    try {
        call();
        return std::nullopt;
    } catch (const std::exception& error) {
        return report_fault(entry, error.what());
    } catch (...) {
        return report_fault(entry, "not a std::exception");
    }
}

}  // namespace sim
