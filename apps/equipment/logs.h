// The log files of the equipment program, below the data folder's "log".
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "hsms/log/log_file.h"

namespace equipment {

/// Connects the framework's log, the call journal and the driver's online log with their files while it
/// lives. Outlives the module.
class Logs {
  public:
    Logs(const std::filesystem::path& folder, bool journal, std::vector<std::string> allowed_hosts);
    ~Logs();
    Logs(const Logs&) = delete;
    Logs& operator=(const Logs&) = delete;

    /// Returns once everything logged so far is in the files or given up. Empty, or one line that says why it
    /// was given up.
    std::string flush();

  private:
    hsms::LogFile system_;
    std::unique_ptr<hsms::LogFile> calls_;  // null without a journal
};

}  // namespace equipment
