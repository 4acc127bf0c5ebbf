// Which event an event command raises: the command table.
#pragma once

#include <cstddef>
#include <string>

#include "fa/events/event_command.h"
#include "fa/events/event_context.h"

namespace Talwen {

/// The collection event of a number N: base + step * N; step 0 for a fixed one.
struct Ceid_Rule {
    int base;
    int step;
};

/// One row: the numbers N from `first` to `last` of one command.
struct Event_Row {
    Keyword keyword;
    const char* subword;
    int first;
    int last;
    Ceid_Rule rule;
    int kind_offset;     ///< the kind is N + this
    std::size_t fields;  ///< how many of A to F the event takes; the others are ignored
    Event_Family family;

    int ceid(int number) const { return rule.base + rule.step * number; }
    int kind(int number) const { return number + kind_offset; }
};

/// Null when the table has no such command or number.
const Event_Row* Find_Event(Keyword keyword, const std::string& subword, int number);

}  // namespace Talwen
