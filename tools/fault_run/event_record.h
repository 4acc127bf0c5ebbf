// Numbered events, and the comparison of those that were raised with those that arrived.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sml/message.h"

namespace faults {

/// Event 54101 of the demo machine with these alarm numbers, out of reach of the tool's own alarms; a report
/// carries the number.
inline constexpr int numbered_ceid = 54101;
inline constexpr int first_number = 1'000'000;

/// The event command that raises it.
std::string raise_command(int number);
/// The number in an event report (S6F11); nothing for any other message.
std::optional<int> number_in(const sml::Message& message);

/// A numbered event as the host received it.
struct Received {
    int number;
    int connection;  ///< which one brought it, counted from 1
};

struct Comparison {
    std::vector<int> lost;
    int twice = 0;
    int reordered = 0;
    std::vector<std::string> findings;  ///< one line for each thing that must not be
    /// "numbered events raised 100, received 98, lost in flight 2, twice 0, reordered 0".
    std::string summary;
};

/// Numbers come once and in order up to `last`, and the end of a connection takes one of them at most: the
/// one that was sent and not answered. Those `refused` were never raised.
Comparison compare(const std::vector<Received>& received, int last, const std::set<int>& refused = {});

}  // namespace faults
