// The module's alarm table, built from the framework's alarm list.
#pragma once

#include <map>

namespace Talwen {

struct ALID_STRU {
    int ALID = 0;            ///< alarm number, the table's key
    unsigned char ALCD = 0;  ///< category code (SEMI E5) without the "set" bit until the alarm is posted
    int index = 0;           ///< position in the framework's alarm list
    bool enable = false;     ///< the alarm's report is enabled
};

extern std::map<int, ALID_STRU> ALID_List;

}  // namespace Talwen
