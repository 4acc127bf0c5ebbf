// A message as the equipment's communication log writes it, for a transcript that the same tools read:
//
//   Send Primary Message                    [102,0]
//       'S1F3'
//           <L[1]
//               <U4[1] 1001>
//           >
//   .
//
// Unlike the equipment, which writes the first element of a numeric item alone, it writes all of them; the
// reader reads the item back to the same bytes.
#pragma once

#include <cstdint>
#include <string>

#include "sml/message.h"

namespace sml {

/// `id` is the system bytes. Without a body it ends after the name, with neither dot nor newline.
std::string log_text(const Message& message, bool sent, std::uint32_t id, std::uint16_t device);

}  // namespace sml
