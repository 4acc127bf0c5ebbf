#include "apps/host/watch/monitor.h"

namespace host {

void Monitor::message(Direction direction, const sml::Message& message, std::string_view note) {
    printer_.message(direction, message, note);
    const std::lock_guard lock(mutex_);
    model_.message(direction, message, names_, std::chrono::steady_clock::now(), time_text());
    if (direction == Direction::sent) return;
    if (const std::string line = summary(message, names_); !line.empty()) printer_.event(line);
}

void Monitor::link(bool selected) {
    const std::lock_guard lock(mutex_);
    model_.link(selected);
}

void Monitor::name_reports(const Definitions& definitions) {
    const std::lock_guard lock(mutex_);
    for (const Definitions::Report& report : definitions.reports) names_.reports[report.rptid] = report.names;
}

void Monitor::name_trace(std::uint32_t trid, const std::vector<std::uint32_t>& svids) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string>& names = names_.traces[trid];
    names.clear();
    for (const std::uint32_t svid : svids) names.push_back(std::to_string(svid));
}

std::string Monitor::screen() const {
    const std::lock_guard lock(mutex_);
    return model_.text(std::chrono::steady_clock::now());
}

}  // namespace host
