// All that lasts longer than one call, in one place: one copy per loaded module.
//
// The rooms below this one do not include this header. A member that they use has a reference of its name,
// declared in the header of its room and bound in module_data.cpp; fa/secs keeps its private part in a struct
// of its own. Beside this there are only a thread's own records and buffers (thread_local) and the queue's
// lock, none of which has a start value.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "fa/config/alarm_table.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/secs/secs_data.h"

namespace Talwen {

class QSequence;

struct Module_Data {
    // fa/secs/module_state.h
    std::atomic<QSequence*> FA_Instance{nullptr};
    std::atomic<bool> Comm_New_Version{true};
    std::atomic<bool> Main_Monitor_Running{false};
    std::atomic<bool> TRID_Monitor_Running{false};
    std::atomic<bool> Reconnect{false};
    std::atomic<bool> Threads_Ending{false};

    Secs_Data Secs;

    // fa/config
    Variable_Table<SVID_STRU> SVID_List;
    Variable_Table<ECID_STRU> ECID_List;
    Variable_Table<RVID_STRU> RVID_List;
    Variable_Table<DVID_STRU> DVID_List;
    std::mutex ALID_Mutex;
    std::map<int, ALID_STRU> ALID_List;
    Definition_List<RPTID_STRU> RPTID_List{&RPTID_STRU::RPTID};
    Definition_List<CEID_STRU> CEID_List{&CEID_STRU::CEID};
    Definition_List<TRID_STRU> TRID_List{&TRID_STRU::TRID};
    std::map<int, TMSG_STRU> TMSG_List;

    // fa/events/event_context.h
    std::mutex Event_Mutex;

    // fa/handlers/s02_command_steps.h
    std::array<std::atomic<int>, 4> Signal_Tower_State{-1, -1, -1, -1};
    std::atomic<int> Alarm_Buzzer_State{-1};

    // fa/module
    std::atomic<std::uint32_t> Last_DATAID{0xFFFFFFFFU};  ///< that Unique_DATAID gave
    std::unique_ptr<std::thread> Main_Monitor_Thread;
    std::unique_ptr<std::thread> TRID_Monitor_Thread;

    /// Everything as in a module just loaded; entries still queued are freed. For tests: only while there is
    /// no module object, and so neither thread nor callback.
    void reset();
};

/// Made when the module is loaded, or by the first who asks; never destroyed: a process may exit while a
/// callback still runs, and without having deleted the module object. Any thread.
Module_Data& The_Module_Data();

}  // namespace Talwen
