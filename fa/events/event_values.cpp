#include "fa/events/event_values.h"

#include <string>

#include "fa/events/event_value_sources.h"
#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

using namespace event_value;

/// One value that a family writes: where to, and where from.
struct Write {
    Event_Family family;
    bool (QSeqCon::*set_number)(int) = nullptr;
    int (*number)(const Event_Context&) = nullptr;
    bool (QSeqCon::*set_text)(const char*) = nullptr;
    std::string (*text)(const Event_Context&) = nullptr;

    constexpr Write(Event_Family f, bool (QSeqCon::*set)(int), int (*value)(const Event_Context&))
        : family(f), set_number(set), number(value) {}
    constexpr Write(Event_Family f, bool (QSeqCon::*set)(const char*),
                    std::string (*value)(const Event_Context&))
        : family(f), set_text(set), text(value) {}
};

using Family = Event_Family;
using Q = QSeqCon;

// In the order in which they are written. semi_transfer has no row: it only queues its report.
//
// clang-format off
constexpr Write writes[] = {
    {Family::control_state,       &Q::QIO_Set_GEM_Equip_Status,            run_control},
    {Family::equipment_state,     &Q::QIO_Set_GEM_EquipModel_State,        kind},
    {Family::process_module,      &Q::QFA_Set_DVID_PMState_MdlID,          pm_id},
    {Family::process_module,      &Q::QFA_Set_DVID_PMState_MdlName,        pm_name},
    {Family::process_module,      &Q::QFA_Set_DVID_PMState_PrcsResult,     process_result},
    {Family::process_module,      &Q::QFA_Set_DVID_PMState_StepName,       step_name},
    {Family::process_module,      &Q::QFA_Set_DVID_PMState_StepNum,        number<C>},
    {Family::process_module,      &Q::QIO_Set_GEM_ModuleModel_State,       kind},
    {Family::process_module,      &Q::QIO_Set_GEM_StepName,                step_name},
    {Family::process_module,      &Q::QIO_Set_GEM_StepNum,                 number<C>},
    {Family::port_state,          &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::port_state,          &Q::QFA_Set_DVID_PortState_PortID,       port_name},
    {Family::port_state,          &Q::QFA_Set_DVID_PortState_CarrierID,    carrier_id},
    {Family::port_state,          &Q::QFA_Set_DVID_PortState_PPID,         lot_recipe},
    {Family::port_state,          &Q::QFA_Set_DVID_PortState_JobID,        job_id},
    {Family::port_state,          &Q::QFA_Set_DVID_RejectCode,             number<B>},
    {Family::port_state,          &Q::QFA_Set_DVID_RejectName,             text<C>},
    {Family::port_state,          &Q::QIO_Set_GEM_Port_Status,             main_control},
    {Family::amhs,                &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::amhs,                &Q::QFA_Set_DVID_PortState_PortID,       port_name},
    {Family::amhs,                &Q::QIO_Set_GEM_AMHS_Status,             access_mode},
    {Family::amhs,                &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::material,            &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::material,            &Q::QFA_Set_DVID_PortState_PortID,       port_name},
    {Family::reserve,             &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::reserve,             &Q::QFA_Set_DVID_PortState_PortID,       port_name},
    {Family::carrier_id,          &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::carrier_id,          &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::carrier_id,          &Q::QFA_Set_DVID_CarrierState_CarrierID, reported_carrier_id},
    {Family::carrier_id,          &Q::QFA_Set_DVID_CarrierState_DupPortID, duplicate_port},
    {Family::carrier_id,          &Q::QIO_Set_GEM_MID,                     reported_carrier_id},
    {Family::carrier_id,          &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::slot_map,            &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::slot_map,            &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::slot_map,            &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::slot_map,            &Q::QIO_Set_GEM_Substx_MapState,         slot_map},
    {Family::association,         &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::association,         &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::access,              &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::access,              &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::carrier_action,      &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::carrier_action,      &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::carrier_action,      &Q::QIO_Set_GEM_MID,                     acted_carrier_id},
    {Family::carrier_action,      &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::manual_id,           &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::manual_id,           &Q::QFA_Set_DVID_CarrierState_PortID,    port_name},
    {Family::process_job,         &Q::QIO_Set_GEM_LotID,                   lot_id},
    {Family::process_job,         &Q::QIO_Set_GEM_PPID,                    ppid},
    {Family::process_job,         &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::module_mode,         &Q::QFA_Set_DVID_ModuleMode_MdlID,       module_id<A>},
    {Family::module_mode,         &Q::QFA_Set_DVID_ModuleMode_MdlName,     module_name<A>},
    {Family::module_mode,         &Q::QFA_Set_DVID_RejectCode,             number<B>},
    {Family::module_mode,         &Q::QFA_Set_DVID_RejectName,             text<C>},
    {Family::spool,               &Q::QFA_Set_DVID_SpoolTransfer_Count,    number<A>},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_ID,         number<A>},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_Totsam,     zero},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_Repgsz,     zero},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_VIDNum,     zero},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_CurCut,     zero},
    {Family::trace,               &Q::QFA_Set_DVID_TraceReport_Dsper,      trace_period},
    {Family::recipe_edit,         &Q::QFA_Set_DVID_RecipeEdit_Name,        text<A>},
    {Family::recipe_edit,         &Q::QFA_Set_DVID_RecipeEdit_Type,        recipe_type},
    {Family::alarm_report,        &Q::QFA_Set_DVID_AlarmReport_ALID,       number<A>},
    {Family::alarm_report,        &Q::QFA_Set_DVID_AlarmReport_ALCD,       number<B>},
    {Family::alarm_report,        &Q::QFA_Set_DVID_AlarmReport_Text,       text<C>},
    {Family::message_recognition, &Q::QFA_Set_DVID_MessageRecogni_TID,     number<A>},
    {Family::ec_change,           &Q::QFA_Set_DVID_ECIDChange_IOName,      constant_name},
    {Family::ec_change,           &Q::QFA_Set_DVID_ECIDChange_IOType,      constant_type},
    {Family::ec_change,           &Q::QFA_Set_DVID_ECIDChange_NewValue,    constant_value<true>},
    {Family::ec_change,           &Q::QFA_Set_DVID_ECIDChange_OldValue,    constant_value<false>},
    {Family::operator_command,    &Q::QFA_Set_DVID_Operator_Command,       text<A>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SlotID,                 slot_number},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstState_PortID,      port_name},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstState_SlotID,      slot_name},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_FromMdlID,     of_transfer<module_id<C>>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_FromMdlName,   of_transfer<module_name<C>>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_FromMdlSlotID, of_transfer<module_slot<D>>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_ToMdlID,       of_transfer<module_id<E>>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_ToMdlName,     of_transfer<module_name<E>>},
    {Family::substrate_track,     &Q::QFA_Set_DVID_SubstTrack_ToMdlSlotID,   of_transfer<module_slot<F>>},
    {Family::substrate_track,     &Q::QIO_Set_GEM_PortID,                  port_number},
    {Family::substrate_track,     &Q::QIO_Set_GEM_LotID,                   lot_id},
    {Family::substrate_track,     &Q::QIO_Set_GEM_PPID,                    ppid},
    {Family::substrate_track,     &Q::QIO_Set_GEM_WaferID,                 wafer_id},
    {Family::substrate_track,     &Q::QIO_Set_GEM_MID,                     carrier_id},
    {Family::substrate_state,     &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::substrate_state,     &Q::QFA_Set_DVID_SlotID,                 slot_number},
    {Family::substrate_state,     &Q::QFA_Set_DVID_SubstState_PortID,      port_name},
    {Family::substrate_state,     &Q::QFA_Set_DVID_SubstState_SlotID,      slot_name},
    {Family::substrate_state,     &Q::QFA_Set_DVID_SubstState_WaferID,     wafer_id},
    {Family::port_load,           &Q::QFA_Set_DVID_PortID,                 port_number},
    {Family::port_load,           &Q::QFA_Set_DVID_PortState_PortID,       port_name},
    {Family::port_load,           &Q::QFA_Set_DVID_SlotID,                 slot_count},
    {Family::port_load,           &Q::QFA_Set_DVID_RejectCode,             number<B>},
    {Family::port_load,           &Q::QFA_Set_DVID_RejectName,             text<C>},
};
// clang-format on

bool in_range(int index, int count) {
    return index >= 0 && index < count;
}

bool find_port(Event_Context& event) {
    event.index = number<A>(event);
    return in_range(event.index, event.fa.QSCH_Get_CM_Count());
}

bool find_port_and_slot(Event_Context& event) {
    event.slot = number<B>(event);
    return find_port(event) && in_range(event.slot, slot_count(event));
}

}  // namespace

bool Check_Event_Fields(Event_Family family, Event_Context& event) {
    switch (family) {
        case Family::process_module:
            event.index = number<A>(event);
            return in_range(event.index, event.fa.QSCH_Get_PM_Count());
        case Family::port_state:
        case Family::amhs:
        case Family::material:
        case Family::reserve:
        case Family::slot_map:
        case Family::association:
        case Family::access:
        case Family::carrier_action:
        case Family::manual_id:
        case Family::process_job:
        case Family::port_load: return find_port(event);
        case Family::carrier_id:
            return find_port(event) && (event.kind != duplicate_carrier ||
                                        in_range(number<B>(event), event.fa.QSCH_Get_CM_Count()));
        case Family::substrate_state: return find_port_and_slot(event);
        case Family::substrate_track:
            // The modules of a transfer have slots of their own number, which the controller does not give.
            return find_port_and_slot(event) &&
                   (!is_transfer(event) || (number<D>(event) >= 0 && number<F>(event) >= 0));
        default: return true;
    }
}

void Write_Event_Values(Event_Family family, const Event_Context& event) {
    for (const Write& write : writes) {
        if (write.family != family) continue;
        if (write.set_number != nullptr)
            (event.fa.*write.set_number)(write.number(event));
        else
            (event.fa.*write.set_text)(write.text(event).c_str());
    }
}

}  // namespace Talwen
