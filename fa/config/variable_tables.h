// The four variable tables: numbers by which the host addresses the equipment's data, each bound to one IO
// point.
#pragma once

#include <map>
#include <string>

#include "fa/framework/framework_types.h"

namespace Talwen {

/// One variable. The four record types have the same fields in the same order.
struct VARIABLE_STRU {
    int id = 0;         ///< the variable's number, the table's key
    int point = 0;      ///< IO point index; negative when not bound
    IO_TYPE io_type{};  ///< digital, analog or string
    double max = 0;     ///< limits of the point
    double min = 0;
    int dev = 0;               ///< decimals of an analog point
    int isbuilt = 0;           ///< the ISBUILT column: carried, not interpreted
    std::string sv_name;       ///< IO point name
    std::string unit;          ///< unit of the point
    unsigned char format = 0;  ///< format byte (fa/secs/secs_item.h) of the TYPE column
    std::string type;          ///< the TYPE column as written
    std::string ecs_name;      ///< the VNAME column: parsed by the loaders but not stored
    std::string description;   ///< free text, without its double quotes
};

struct SVID_STRU : VARIABLE_STRU {};
struct ECID_STRU : VARIABLE_STRU {};
struct RVID_STRU : VARIABLE_STRU {};
struct DVID_STRU : VARIABLE_STRU {};

// Ascending by id; one each for the module. Filled before the threads start, only read while the link runs.
extern std::map<int, SVID_STRU>& SVID_List;
extern std::map<int, ECID_STRU>& ECID_List;
extern std::map<int, RVID_STRU>& RVID_List;
extern std::map<int, DVID_STRU>& DVID_List;

}  // namespace Talwen
