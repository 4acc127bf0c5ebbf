// Local time as text, for log entries.
#pragma once

#include <string>

namespace hsms {

/// Appends "YYYY-MM-DD hh:mm:ss.mmm", the local time now. Cheap: the text of the current second is kept per
/// thread.
void append_time(std::string& out);

}  // namespace hsms
