#include "apps/host/watch/reports.h"

#include <fmt/format.h>

#include "apps/host/commands/values.h"
#include "apps/host/commands/words.h"

namespace host {
namespace {

using hsms::Item;

std::optional<std::uint32_t> id_at(const Item& list, std::size_t index) {
    const Item* item = child(list, index);
    const auto number = item == nullptr ? std::nullopt : first_number(*item);
    if (!number) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

// The values of a list; names only when there are as many of them.
std::vector<NamedValue> named(const Item& values,
                              const std::map<std::uint32_t, std::vector<std::string>>& all,
                              std::uint32_t id) {
    const auto names = all.find(id);
    const bool known = names != all.end() && names->second.size() == values.children.size();
    std::vector<NamedValue> result;
    for (std::size_t i = 0; i < values.children.size(); ++i)
        result.push_back({known ? names->second[i] : "", plain(values.children[i])});
    return result;
}

std::string joined(const std::vector<NamedValue>& values) {
    std::string text;
    for (const NamedValue& value : values)
        text += (text.empty() ? "" : " ") + (value.name.empty() ? "" : value.name + "=") + value.value;
    return text;
}

std::string event_line(const EventReport& event) {
    std::string text = fmt::format("event {}", event.ceid);
    const char* separator = ": ";
    for (const EventReport::Report& report : event.reports) {
        text += fmt::format("{}report {} ({})", separator, report.rptid, joined(report.values));
        separator = ", ";
    }
    return text;
}

// S6F1: L[4] TRID SMPLN STIME L[n] values.
std::string trace_line(const sml::Message& message, const Names& names) {
    if (!message.body || message.body->children.size() != 4) return "";
    const Item& body = *message.body;
    const auto trid = id_at(body, 0);
    if (!trid) return "";
    return fmt::format("trace {} sample {} {}: {}", *trid, plain_child(body, 1), plain_child(body, 2),
                       joined(named(body.children[3], names.traces, *trid)));
}

}  // namespace

std::string EventReport::value(std::string_view name) const {
    for (const Report& report : reports)
        for (const NamedValue& value : report.values)
            if (value.name == name) return unquoted(value.value);
    return "";
}

std::optional<EventReport> read_event(const sml::Message& message, const Names& names) {
    if (message.stream != 6 || message.function != 11 || !message.body) return std::nullopt;
    const auto ceid = id_at(*message.body, 1);
    const Item* reports = child(message, 2);
    if (!ceid || reports == nullptr) return std::nullopt;
    EventReport event{*ceid, {}};
    for (const Item& report : reports->children) {
        const auto rptid = id_at(report, 0);
        const Item* values = child(report, 1);
        if (rptid && values != nullptr)
            event.reports.push_back({*rptid, named(*values, names.reports, *rptid)});
    }
    return event;
}

std::optional<AlarmReport> read_alarm(const Item& item) {
    const auto code = id_at(item, 0);
    const auto alid = id_at(item, 1);
    if (!code || !alid || item.children.size() != 3) return std::nullopt;
    return AlarmReport{*alid, *code & 0xFFU, plain(item.children[2])};
}

std::string summary(const sml::Message& message, const Names& names) {
    if (const auto event = read_event(message, names)) return event_line(*event);
    if (message.stream == 6 && message.function == 1) return trace_line(message, names);
    if (message.stream != 5 || message.function != 1 || !message.body) return "";
    const auto alarm = read_alarm(*message.body);
    if (!alarm) return "";
    return fmt::format("alarm {} {} (category {}): {}", alarm->alid, alarm->set() ? "set" : "cleared",
                       alarm->code & 0x7FU, alarm->text);
}

}  // namespace host
