// Types of the controller interface that the module uses by value or by reference.
#pragma once

#include <string>
#include <vector>

#include "fa/framework/printf_format.h"

namespace Talwen {

/// Result of a sequence function.
enum FUNC_STATUS : int { FUNC_IDLE = 0, FUNC_RUNNING = 1, FUNC_FAILED = 2, FUNC_FINISHED = 3 };

/// Kind of an IO point; a point index is valid for its kind only.
enum IO_TYPE : int { IO_DIGITAL = 0, IO_ANALOG = 1, IO_STRING = 2, IO_FUNCTION = 3 };

/// Kind of a framework log line.
enum LOG_TYPE : int { LOG_NORMAL = 0, LOG_ERROR = 1 };

/// Severity of an alarm in the framework's alarm list.
enum ALARM_LEVEL : int { ALARM_NONE = 0, ALARM_WARNING = 1, ALARM_SERIOUS = 2, ALARM_FATAL = 3 };

/// What a lot runs: a cluster recipe per slot group.
struct LotRecipe_Item {
    std::string name;
    std::vector<std::string> cluster_recipes;
};

/// The path of a wafer through the tool: modules and the recipe to run in each.
struct ClusterRecipe_Item {
    std::string name;
    std::vector<std::string> modules;
    std::vector<std::string> pm_recipes;
};

/// The steps of one process module recipe.
struct PM_Recipe_Item {
    std::string module;
    std::string name;
    std::string comment;
    std::vector<std::string> steps;
};

}  // namespace Talwen
