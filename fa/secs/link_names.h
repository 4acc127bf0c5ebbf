// Names under which the communication and control states are logged.
#pragma once

namespace Talwen {

enum LINK_MODE : int { FA_Link_Disconn = 0, FA_Link_Disabled = 1, FA_Link_Enabled = 2, FA_Link_Commu = 3 };
enum CTRL_MODE : int { FA_Ctrl_OffLine = 0, FA_Ctrl_OnLocal = 1, FA_Ctrl_OnRemote = 2 };

inline const char* Link_Name(int link_mode) {
    constexpr const char* names[] = {"FA_Link_Disconn", "FA_Link_Disabled", "FA_Link_Enabled",
                                     "FA_Link_Commu"};
    return link_mode >= FA_Link_Disconn && link_mode <= FA_Link_Commu ? names[link_mode] : "FA_Link_Unknown";
}

inline const char* Ctrl_Name(int ctrl_mode) {
    constexpr const char* names[] = {"FA_Ctrl_OffLine", "FA_Ctrl_OnLocal", "FA_Ctrl_OnRemote"};
    return ctrl_mode >= FA_Ctrl_OffLine && ctrl_mode <= FA_Ctrl_OnRemote ? names[ctrl_mode]
                                                                         : "FA_Ctrl_Unknown";
}

}  // namespace Talwen
