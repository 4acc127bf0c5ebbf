#include "fa/config/alarm_table.h"

#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

/// Category (SEMI E5) of an alarm level; `otherwise` for a level without one.
unsigned char alarm_category(ALARM_LEVEL level, unsigned char otherwise) {
    switch (level) {
        case ALARM_WARNING: return 3;  // parameter control warning
        case ALARM_SERIOUS: return 4;  // parameter control error
        case ALARM_FATAL: return 5;    // irrecoverable error
        default: return otherwise;
    }
}

}  // namespace

bool BC_FA::QFA_Get_All_ALID_List() {
    const int count = QSystem_Get_Alarm_Count();
    {
        const std::lock_guard lock(ALID_Mutex);
        // Same number: keep the table, and with it the enable flags that the host has set.
        if (static_cast<int>(ALID_List.size()) == count) return true;
    }
    std::map<int, ALID_STRU> alarms;
    unsigned char category = 0;  // an alarm of unknown level gets that of the alarm before it
    for (int index = 0; index < count; ++index) {
        const int alid = QAlarm_Get_ID(index);
        category = alarm_category(QAlarm_Get_Level(index), category);
        const auto [place, is_new] = alarms.try_emplace(alid);
        if (!is_new) continue;
        ALID_STRU& record = place->second;
        record.ALID = alid;
        record.ALCD = category;
        record.index = index;
        record.enable = true;
    }
    const std::lock_guard lock(ALID_Mutex);
    ALID_List.swap(alarms);
    return true;
}

bool BC_FA::QFA_Get_ALID_Stru(int alid, ALID_STRU** out) {
    const std::lock_guard lock(ALID_Mutex);
    const auto found = ALID_List.find(alid);
    if (found == ALID_List.end()) return false;
    *out = &found->second;
    return true;
}

bool BC_FA::QFA_Set_ALID_Enable(int alid, bool enable) {
    const std::lock_guard lock(ALID_Mutex);
    const auto found = ALID_List.find(alid);
    if (found == ALID_List.end()) return false;
    found->second.enable = enable;
    return true;
}

// K19: the alarms numbered 0 to size - 1 are meant, not those in the table (docs/kept-behaviour.md).
void BC_FA::QFA_Set_All_ALID_Enable(bool enable) {
    const std::lock_guard lock(ALID_Mutex);
    const int count = static_cast<int>(ALID_List.size());
    for (int alid = 0; alid < count; ++alid) {
        const auto [place, is_new] = ALID_List.try_emplace(alid);
        if (is_new) place->second.ALID = alid;
        place->second.enable = enable;
    }
}

}  // namespace Talwen
