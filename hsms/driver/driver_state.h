// The options in force, for the driver's own files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace hsms {

std::size_t max_message_length();
std::vector<std::string> allowed_hosts();

/// Whether there is a journal: building a line for it is not cheap.
bool journal_wanted();
void journal(const std::string& line);

}  // namespace hsms
