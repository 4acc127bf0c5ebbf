// What a host wants reported: reports, the events that send them, and which events are enabled.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sml/cursor.h"

namespace host {

struct Definitions {
    struct Report {
        std::uint32_t rptid;
        std::vector<std::uint32_t> rvids;
        std::vector<std::string> names;  ///< of the values, as given or the RVID
    };
    struct Event {
        std::uint32_t ceid;
        std::vector<std::uint32_t> rptids;
    };
    /// Which events are switched; all when nothing is named.
    struct Switch {
        bool all = false;
        std::vector<std::uint32_t> ceids;
        bool empty() const { return !all && ceids.empty(); }
    };

    std::uint32_t dataid = 1;
    std::vector<Report> reports;
    std::vector<Event> events;
    Switch enable, disable;
};

/// Reads a definition file; definition_grammar says how it is written. Throws sml::SyntaxError; nothing of a
/// wrong file is used.
Definitions parse_definitions(std::istream& file);
/// The same of a file; throws std::runtime_error "FILE:LINE:COLUMN: expected ..., found ...".
Definitions read_definitions(const std::string& path);

extern const std::string_view definition_grammar;

}  // namespace host
