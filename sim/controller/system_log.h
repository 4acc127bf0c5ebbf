// The framework log, QSystem_Log. Any thread.
#pragma once

#include <functional>
#include <string_view>

#include "fa/framework/framework_types.h"

namespace sim {

/// Takes the log's texts, on the logging thread, one at a time; null for nowhere, as at start.
using SystemLogSink = std::function<void(Talwen::LOG_TYPE type, std::string_view text)>;
void set_system_log_sink(SystemLogSink sink);
void log_system(Talwen::LOG_TYPE type, std::string_view text);

}  // namespace sim
