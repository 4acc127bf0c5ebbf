// The parameters of a host command (S2F41): names, reading, and what is refused about them.
//
//     L[1 or 2]
//       <A RCMD>
//       L[n]
//         L[2] <A CPNAME> <CPVAL>
#pragma once

#include <array>
#include <bitset>
#include <string>
#include <vector>

#include "fa/secs/secs_item.h"

namespace Talwen {

/// The CPNAMEs that are known. The lamps are in the order in which missing ones are reported.
enum Remote_Parameter : std::size_t {
    CP_PORTID,
    CP_RECIPE,
    CP_AccessMode,
    CP_JOBID,
    CP_CarrierID,
    CP_WaferDes,
    CP_WaferCount,
    CP_LotInfo,
    CP_SlotMap,
    CP_StartSlot,
    CP_EndSlot,
    CP_REDSTATE,
    CP_GREENSTATE,
    CP_YELLOWSTATE,
    CP_BLUESTATE,
    CP_ALARMBUZZER,
    CP_Count,
};

/// CPACK (SEMI E5).
enum : unsigned char { CPACK_Unknown_Name = 1, CPACK_Illegal_Value = 2, CPACK_Illegal_Format = 3 };

/// A refused parameter as S2F42 reports it.
struct Flagged_Parameter {
    std::string name;  ///< at most Remote_Text_Limit bytes
    unsigned char cpack;
};

/// Longest CPNAME of a reply, text value, and RCMD in a log line.
inline constexpr std::size_t Remote_Text_Limit = 255;

/// The lot and wafer id of one slot.
struct Lot_Entry {
    std::string lot;
    std::string wafer;
};

/// A host command as far as it was understood. Of a CPNAME that comes twice the last value counts.
struct Remote_Request {
    std::string rcmd;  ///< as received, cut for the log
    std::bitset<CP_Count> given;
    std::array<int, CP_Count> number{};  ///< PORTID: from 1, 0 for an unknown name
    std::array<std::string, CP_Count> text;
    std::vector<Lot_Entry> lot_info;  ///< from slot 1
    std::vector<bool> slot_map;       ///< from slot 1: a wafer is said to be there
    std::vector<Flagged_Parameter> flagged;

    /// Flags a value that is not allowed (CPACK 2), with its log line.
    void refuse_value(Remote_Parameter parameter);
    /// Flags without a log line.
    void flag(Remote_Parameter parameter, unsigned char cpack);
};

const char* Remote_Parameter_Name(Remote_Parameter parameter);

/// Reads every pair of the parameter list into the request; a refused one is flagged and logged. False, with
/// a log line, at the first element that is no L[2] <A CPNAME> <CPVAL>.
bool Read_Remote_Parameters(const _SECS_ITEM& list, Remote_Request& request);

}  // namespace Talwen
