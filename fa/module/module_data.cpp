#include "fa/module/module_data.h"

#include "fa/events/event_context.h"
#include "fa/handlers/s02_command_steps.h"
#include "fa/secs/module_state.h"

namespace Talwen {

Module_Data& The_Module_Data() {
    static Module_Data& data = *new Module_Data;
    return data;
}

// Made anew in its place rather than member by member, so that none is forgotten. References to the members
// stay good.
void Module_Data::reset() {
    QFA_Message_Clear();
    std::destroy_at(this);
    std::construct_at(this);
}

// The members' names in the rooms.
#define FA_BIND(name) decltype(name) name = The_Module_Data().name
FA_BIND(FA_Instance);
FA_BIND(Comm_New_Version);
FA_BIND(Main_Monitor_Running);
FA_BIND(TRID_Monitor_Running);
FA_BIND(Reconnect);
FA_BIND(Threads_Ending);
FA_BIND(Secs);
FA_BIND(SVID_List);
FA_BIND(ECID_List);
FA_BIND(RVID_List);
FA_BIND(DVID_List);
FA_BIND(ALID_Mutex);
FA_BIND(ALID_List);
FA_BIND(RPTID_List);
FA_BIND(CEID_List);
FA_BIND(TRID_List);
FA_BIND(TMSG_List);
FA_BIND(Event_Mutex);
FA_BIND(Signal_Tower_State);
FA_BIND(Alarm_Buzzer_State);
#undef FA_BIND

}  // namespace Talwen
