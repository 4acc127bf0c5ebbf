#include "lot_record.h"

namespace lots {

namespace {

std::string text_of(const hsms::Item& item) {
    switch (item.format) {
        case hsms::Format::ascii: return item.bytes;
        case hsms::Format::list:
        case hsms::Format::f4:
        case hsms::Format::f8: return "";
        default: return item.element_count() == 1 ? std::to_string(item.integer(0)) : "";
    }
}

// Places in the demo machine's reports.
constexpr std::size_t port_at = 0, slot_at = 1, from_at = 5, to_at = 8;  // 301
constexpr std::size_t module_at = 1, step_at = 3;                        // 103

bool is_move(int ceid) {
    return ceid >= wafer_left_carrier && ceid <= wafer_into_carrier;
}

}  // namespace

Event read_event(const sml::Message& s6f11) {
    const std::vector<hsms::Item>& body = s6f11.body.value().children;
    Event event{static_cast<int>(body.at(1).integer(0)), {}};
    if (body.at(2).children.empty()) return event;
    for (const hsms::Item& value : body.at(2).children.front().children.at(1).children)
        event.values.push_back(text_of(value));
    return event;
}

Alarm read_alarm(const sml::Message& s5f1) {
    const std::vector<hsms::Item>& body = s5f1.body.value().children;
    return {(body.at(0).unsigned_integer(0) & 128U) != 0, static_cast<int>(body.at(1).integer(0))};
}

std::map<int, std::string> wafer_histories(const std::vector<Event>& events, int port) {
    std::map<int, std::string> histories;
    std::map<std::string, int> inside;  // slot of the wafer in the process module
    for (const Event& event : events) {
        const std::string ceid = std::to_string(event.ceid);
        if (event.ceid / 100 == 103) {
            const auto wafer = inside.find(event.values.at(module_at));
            if (wafer == inside.end() || event.ceid == step_held) continue;
            const std::string& step = event.values.at(step_at);
            histories[wafer->second] += ceid + (step.empty() ? "; " : " " + step + "; ");
        } else if (event.ceid / 1000 == 30 && event.number(port_at) == port) {
            const std::string &from = event.values.at(from_at), &to = event.values.at(to_at);
            histories[event.number(slot_at)] +=
                ceid + (is_move(event.ceid) ? " " + from + ">" + to + "; " : "; ");
            if (event.ceid == wafer_placed && to.starts_with("PM")) inside[to] = event.number(slot_at);
            if (event.ceid == wafer_picked) inside.erase(from);
        }
    }
    return histories;
}

std::string whole_history(const std::string& process_module) {
    return "30201; 30301 LP1>EFEM; 30302 EFEM>Aligner; 30601; 30101; 30303 Aligner>EFEM; 30302 EFEM>LL1; "
           "30303 LL1>TM; 30302 TM>" +
           process_module +
           "; 10301; 30401; 10303 PUMP; 10304 PUMP; 10303 STABLE; 10304 STABLE; 10303 MAIN; 10304 MAIN; "
           "10303 OVER; 10304 OVER; 10303 PURGE; 10304 PURGE; 10306; 30402; 10302; 30303 " +
           process_module + ">TM; 30302 TM>LL2; 30303 LL2>EFEM; 30304 EFEM>LP1; 30202; ";
}

}  // namespace lots
