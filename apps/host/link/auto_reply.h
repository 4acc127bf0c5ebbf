// The replies that the host gives by itself.
#pragma once

#include <optional>

#include "sml/message.h"

namespace host {

/// The reply to a primary that asks for one, or nothing when the host leaves it to its user. `clock` is the
/// time to report, as clock_text() gives it.
std::optional<sml::Message> automatic_reply(const sml::Message& primary, std::string_view clock);

/// Local time in the 16 characters of a SECS clock: YYYYMMDDhhmmsscc.
std::string clock_text();

}  // namespace host
