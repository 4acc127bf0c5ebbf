#include "lot_record.h"

#include <array>

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
constexpr std::size_t module_at = 1, step_at = 3, step_number_at = 4;    // 103

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

std::map<int, std::vector<std::string>> wafer_histories(const std::vector<Event>& events, int port) {
    std::map<int, std::vector<std::string>> histories;
    std::map<std::string, int> inside;  // slot of the wafer in the process module
    for (const Event& event : events) {
        std::string line = std::to_string(event.ceid);
        if (event.ceid / 100 == 103) {
            const auto wafer = inside.find(event.values.at(module_at));
            if (wafer == inside.end()) continue;
            if (const std::string& step = event.values.at(step_at); !step.empty())
                line += " " + step + " " + event.values.at(step_number_at);
            histories[wafer->second].push_back(line);
        } else if (event.ceid / 1000 == 30 && event.number(port_at) == port) {
            const int slot = event.number(slot_at);
            if (is_move(event.ceid)) line += " " + event.values.at(from_at) + ">" + event.values.at(to_at);
            histories[slot].push_back(line);
            if (event.ceid == wafer_placed && event.values.at(to_at).starts_with("PM"))
                inside[event.values.at(to_at)] = slot;
            if (event.ceid == wafer_picked) inside.erase(event.values.at(from_at));
        }
    }
    return histories;
}

std::vector<std::string> whole_history(const std::string& process_module, const std::string& carrier_module) {
    std::vector<std::string> lines{
        "30201",                              // mapped at its source
        "30301 " + carrier_module + ">EFEM",  //
        "30302 EFEM>Aligner",                 //
        "30601",                              // aligned
        "30101",                              // its id read
        "30303 Aligner>EFEM",                 //
        "30302 EFEM>LL1",                     //
        "30303 LL1>TM",                       //
        "30302 TM>" + process_module,         //
        "10301",                              // the process begins
        "30401",
    };
    int number = 0;
    for (const char* step : {"PUMP", "STABLE", "MAIN", "OVER", "PURGE"}) {
        const std::string which = std::string(" ") + step + " " + std::to_string(++number);
        lines.push_back("10303" + which);
        lines.push_back("10304" + which);
    }
    const std::array<std::string, 8> rest{
        "10306",                            // the process has ended
        "30402",                            //
        "10302",                            //
        "30303 " + process_module + ">TM",  //
        "30302 TM>LL2",                     //
        "30303 LL2>EFEM",                   //
        "30304 EFEM>" + carrier_module,     //
        "30202",                            // at its destination
    };
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
}

}  // namespace lots
