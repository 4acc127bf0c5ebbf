// Reads SML:  S1F3 W <L <U4 1001> <A "text" 0x0D>>.
//
// Stream and function may be in quotes. A format tag may be followed by the element count in brackets,
// which is then checked: <L[2] ...>, <A[5] "hello">. A text that its count leads exactly to `">` is taken as
// it is, quotes and line ends in it included, as the equipment's communication log writes it. Numbers are
// decimal or 0x..; B takes -128 to 255; Booleans are T, F, TRUE, FALSE or a byte. Case does not matter,
// blanks, line ends and comments may be anywhere. A message ends with a dot.
#pragma once

#include <string_view>

#include "sml/cursor.h"
#include "sml/message.h"

namespace sml {

/// Reads the whole text as one item or message; throws SyntaxError. Lists may nest as deep as the item codec
/// allows, and no deeper.
hsms::Item parse_item(std::string_view text);
Message parse_message(std::string_view text);
/// The same with wildcards: `*` for any item, `<U4 *>` for any values of a format, `...` for the rest of a
/// list.
Pattern parse_pattern(std::string_view text);
MessagePattern parse_message_pattern(std::string_view text);

/// Reads one message at the cursor and leaves the cursor after its dot; for texts of several messages.
Message read_message(Cursor& cursor);
MessagePattern read_message_pattern(Cursor& cursor);

}  // namespace sml
