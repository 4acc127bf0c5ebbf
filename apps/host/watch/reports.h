// What the equipment reports by itself, taken apart and in one line: events, trace samples, alarms.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sml/message.h"

namespace host {

/// What the host knows of the numbers that it defined.
struct Names {
    std::map<std::uint32_t, std::vector<std::string>> reports;  ///< names of the values by RPTID
    std::map<std::uint32_t, std::vector<std::string>> traces;   ///< SVIDs by TRID
};

struct NamedValue {
    std::string name;  ///< empty when the host did not define the report
    std::string value;
};

/// S6F11.
struct EventReport {
    struct Report {
        std::uint32_t rptid;
        std::vector<NamedValue> values;
    };
    std::uint32_t ceid = 0;
    std::vector<Report> reports;

    /// The first value of that name, without quotes; "" without one.
    std::string value(std::string_view name) const;
};

/// S5F1, and one row of S5F6.
struct AlarmReport {
    std::uint32_t alid = 0;
    unsigned code = 0;  ///< category and, as bit 8, whether the alarm is set
    std::string text;
    bool set() const { return (code & 0x80U) != 0; }
};

/// Nothing when the message is not a well-formed S6F11.
std::optional<EventReport> read_event(const sml::Message& message, const Names& names);
/// L[3] ALCD ALID ALTX; nothing for anything else.
std::optional<AlarmReport> read_alarm(const hsms::Item& item);

/// "event 30301: report 1 (PortID=1 SlotID=3)", "trace 1 sample 2 20260101...: 1001=5", "alarm 7 set: text";
/// empty for all other messages.
std::string summary(const sml::Message& message, const Names& names);

}  // namespace host
