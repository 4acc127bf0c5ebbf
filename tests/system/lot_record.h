// What a host keeps of the equipment's events: each report's number and values as texts, and what they say of
// wafers.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "sml/message.h"

namespace lots {

/// An event report (S6F11), with the values of the report that its link names first.
struct Event {
    int ceid = 0;
    std::vector<std::string> values;

    bool operator==(const Event&) const = default;
    int number(std::size_t index) const { return std::stoi(values.at(index)); }
};

/// An S5F1.
struct Alarm {
    bool set;
    int alid;
};

Event read_event(const sml::Message& s6f11);
Alarm read_alarm(const sml::Message& s5f1);

/// CEIDs of the demo machine that a host acts on.
enum Ceid : int {
    on_line_remote = 10104,
    step_held = 10305,
    port_empty = 12201,
    wafer_left_carrier = 30301,
    wafer_placed = 30302,
    wafer_picked = 30303,
    wafer_into_carrier = 30304,
    slot_map_read = 41501,
    slot_map_verified = 41502,
    carrier_unclamped = 48102,
    carrier_docked = 48111,
    numbered = 54101,
};

/// By slot, what befell each wafer of the port: "30301 LP1>EFEM; 10303 MAIN; ". What a process module reports
/// belongs to the wafer that was last placed in it; steps that an alarm held are left out.
std::map<int, std::string> wafer_histories(const std::vector<Event>& events, int port);
/// A wafer's whole way from port 1 through a process module and back.
std::string whole_history(const std::string& process_module);

}  // namespace lots
