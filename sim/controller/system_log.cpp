#include "sim/controller/system_log.h"

#include <mutex>
#include <string>
#include <utility>

#include "sim/controller/console.h"
#include "sim/controller/faults.h"
#include "sim/text.h"

namespace sim {

namespace {

std::mutex sink_mutex;
SystemLogSink log_sink;  // guarded by sink_mutex

}  // namespace

void set_system_log_sink(SystemLogSink sink) {
    const std::lock_guard lock(sink_mutex);
    log_sink = std::move(sink);
}

void log_system(Talwen::LOG_TYPE type, std::string_view text) {
    const std::lock_guard lock(sink_mutex);
    if (log_sink) log_sink(type, text);
}

std::string report_fault(const char* entry, const char* reason) {
    std::string line = one_line(std::string("exception left ") + entry + ": " + reason);
    print_console(Colour::red, "framework", line);
    log_system(Talwen::LOG_ERROR, line);
    return line;
}

}  // namespace sim
