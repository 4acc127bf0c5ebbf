// Writes SML that the reader reads back to the same item, for any bytes.
//
// Small items and messages take one line; larger lists one line per item, indented by four blanks. Texts are
// quoted where they are printable ASCII or well-formed UTF-8; quotes, control characters and other bytes
// are written beside the quotes as codes: <A "two" 0x0D 0x0A "lines">.
#pragma once

#include <cstddef>
#include <string>

#include "sml/message.h"

namespace sml {

/// The item as SML without a line end after it; lines after the first are indented by `indent` blanks.
std::string to_sml(const hsms::Item& item, std::size_t indent = 0);
/// The message with its final dot.
std::string to_sml(const Message& message);

/// One line for messages to people: what is longer than `limit` characters is cut and ends in "...".
std::string one_line(const hsms::Item& item, std::size_t limit = 100);
std::string one_line(const Pattern& pattern, std::size_t limit = 100);
std::string one_line(const Message& message, std::size_t limit = 100);
std::string one_line(const MessagePattern& message, std::size_t limit = 100);

}  // namespace sml
