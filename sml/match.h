// Compares items and messages with patterns.
#pragma once

#include <optional>
#include <string>

#include "sml/message.h"

namespace sml {

/// Nothing when `item` matches; else the first difference in one line, as in
/// "item 2.1: expected <U4 1001>, got <A "-">". Items are named by their positions in the lists, from 1.
std::optional<std::string> difference(const Pattern& pattern, const hsms::Item& item);

/// The same for a whole message: stream and function, W-bit where the pattern asks for it, then the body.
std::optional<std::string> difference(const MessagePattern& pattern, const Message& message);

}  // namespace sml
