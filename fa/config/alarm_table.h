// The module's alarm table, built from the framework's alarm list.
#pragma once

#include <atomic>
#include <map>
#include <mutex>

namespace Talwen {

/// One alarm. Records are filled in their place in the table and are not copied. Pointers to them are used
/// without the mutex, hence the atomics: `enable` is written by the driver's callback thread, `ALCD` by the
/// thread that brings an alarm event.
struct ALID_STRU {
    int ALID = 0;                         ///< alarm number, the table's key
    std::atomic<unsigned char> ALCD = 0;  ///< category code (SEMI E5) without the "set" bit until the alarm
                                          ///< is posted
    int index = 0;                        ///< position in the framework's alarm list
    std::atomic<bool> enable = false;     ///< the alarm's report is enabled
};

/// Held by the four operations while they touch the table, and by those who walk it. Nothing else is locked
/// and the controller is not called under it.
extern std::mutex& ALID_Mutex;

/// Ascending by ALID. Must not be rebuilt while the link runs: pointers into it would dangle. Records that
/// are only added leave pointers good.
extern std::map<int, ALID_STRU>& ALID_List;

}  // namespace Talwen
