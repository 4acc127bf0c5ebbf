// One element of an item as text: T, 31, 0x1F, -7, 1.5, nan. The bytes are those on the wire, big-endian.
#pragma once

#include <string>
#include <string_view>

#include "hsms/core/format.h"

namespace sml {

/// Appends the element that `word` means to `bytes`; false when it does not fit the format or is out of its
/// range. Texts (A, J, W) take the code of one character here. NaNs other than the plain quiet one are
/// written with their bits, as in nan:0x7F800001.
bool append_element(const hsms::FormatInfo& format, std::string_view word, std::string& bytes);

/// The text of one element, `format.width` bytes; append_element gives the same bytes back.
std::string element_text(const hsms::FormatInfo& format, std::string_view element);

/// What append_element accepts, for error messages: "a U1 value (0 to 255)".
std::string element_description(const hsms::FormatInfo& format);

}  // namespace sml
