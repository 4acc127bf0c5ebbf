// IO points of the carrier modules, bound once by name when the module is entered.
#pragma once

#include <array>
#include <cstddef>

#include "fa/framework/framework_types.h"

namespace Talwen {

inline constexpr int Point_Unbound = -99999999;
inline constexpr std::size_t Point_Module_Limit = 6;

/// Index of a list in Point_Table, in binding order.
enum Point_List : std::size_t {
    F_LP_CONTROL,
    S_CM_CID,
    S_CM_LOTID,
    S_CM_PPID,
    D_CM_AccessMode,
    D_CM_PortTransferPreStatus,
    D_CM_PortTransferCurStatus,
    S_CM_AccessModeDealCode,
    S_CM_AccessModeDealMsg,
    Point_List_Count,
};

/// How a list is bound: the point's kind and its name for carrier module n (from 1).
struct Point_Binding {
    IO_TYPE type;
    const char* pattern;
};

inline constexpr std::array<Point_Binding, Point_List_Count> Point_Bindings{{
    {IO_FUNCTION, "SCHEDULER_INTERFACE_CM%d"},
    {IO_STRING, "CM%d.ReadCID"},
    {IO_STRING, "CM%d.LotID"},
    {IO_STRING, "CM%d.PPID"},
    {IO_DIGITAL, "AccessModeStatus%d"},
    {IO_DIGITAL, "PortTransferPreStatus%d"},
    {IO_DIGITAL, "PortTransferCurStatus%d"},
    {IO_STRING, "AccessModeDealCode%d"},
    {IO_STRING, "AccessModeDealMsg%d"},
}};

/// Element n of a list is the point of carrier module n + 1; Point_Unbound until it is bound.
struct Point_Table {
    using List = std::array<int, Point_Module_Limit>;
    std::array<List, Point_List_Count> lists;

    Point_Table() {
        for (List& list : lists) list.fill(Point_Unbound);
    }

    /// The point of carrier module `cm` (from 0); Point_Unbound for a module outside the lists.
    int point(Point_List list, int cm) const {
        if (cm < 0 || static_cast<std::size_t>(cm) >= Point_Module_Limit) return Point_Unbound;
        return lists[list][static_cast<std::size_t>(cm)];
    }
};

}  // namespace Talwen
