// Where the values of events come from: each function gives one value of an event, from its fields or from
// what the controller knows of the object that they name.
//
// Only for the table that says which variable gets which value (event_values.cpp).
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "fa/config/config_file.h"
#include "fa/config/variable_tables.h"
#include "fa/events/event_values.h"
#include "fa/module/bc_fa.h"
#include "fa/module/point_table.h"

namespace Talwen::event_value {

enum Field : std::size_t { A, B, C, D, E, F };

/// A text that the controller gave; empty for none.
inline std::string or_empty(const char* text) {
    return text != nullptr ? text : "";
}

template <Field field>
int number(const Event_Context& event) {
    return Config_Int(event.fields[field]);
}
template <Field field>
std::string text(const Event_Context& event) {
    return event.fields[field];
}
inline int zero(const Event_Context&) {
    return 0;
}
inline int kind(const Event_Context& event) {
    return event.kind;
}

// Ports and slots: counted from 0 in the fields, from 1 in what the host sees.

inline std::string name(const char* what, int index) {
    return what + std::to_string(index + 1LL);
}
inline int port_number(const Event_Context& event) {
    return event.index + 1;
}
inline std::string port_name(const Event_Context& event) {
    return name("PORT", event.index);
}
inline int slot_number(const Event_Context& event) {
    return event.slot + 1;
}
inline std::string slot_name(const Event_Context& event) {
    return name("SLOT", event.slot);
}
inline int slot_count(const Event_Context& event) {
    return event.fa.QSCH_Get_CM_Slot_Count(event.index);
}

// What the controller knows of a carrier module.

inline int run_control(const Event_Context& event) {
    return event.fa.QIO_Get_CTC_RUN_CONTROL();
}
inline int main_control(const Event_Context& event) {
    return event.fa.QIO_Get_CTC_MAIN_CONTROL(event.index);
}
inline std::string carrier_id(const Event_Context& event) {
    return or_empty(event.fa.QIO_Get_CTC_CMx_CarrierID(event.index));
}
inline std::string lot_recipe(const Event_Context& event) {
    return or_empty(event.fa.QIO_Get_CTC_LOT_RECIPE(event.index));
}
inline std::string job_id(const Event_Context& event) {
    return or_empty(event.fa.QIO_Get_CTC_JOB_ID(event.index));
}
inline std::string wafer_id(const Event_Context& event) {
    return or_empty(event.fa.QIO_Get_CTC_CMx_WAFER_ID(event.index, event.slot));
}
/// One character per slot, the first slot first: the wafer's status, '?' for one that is no digit.
inline std::string slot_map(const Event_Context& event) {
    std::string map;
    for (int slot = 0; slot < slot_count(event); ++slot) {
        const int status = event.fa.QIO_Get_CTC_CMx_Wafer_Status(event.index, slot);
        map += status >= 0 && status <= 9 ? static_cast<char>('0' + status) : '?';
    }
    return map;
}

// IO points of a carrier module; one that is not bound reads as a bad index does.

template <int (BC_FA::*point)(int)>
std::string string_point(const Event_Context& event) {
    const int index = (event.fa.*point)(event.index);
    return index == Point_Unbound ? "" : or_empty(event.fa.QString_Read(index));
}
inline int access_mode(const Event_Context& event) {
    const int index = event.fa.Point_D_CM_AccessMode(event.index);
    return index == Point_Unbound ? 0 : event.fa.QDigital_Read(index);
}
inline constexpr auto read_carrier_id = string_point<&BC_FA::Point_S_CM_CID>;
inline constexpr auto lot_id = string_point<&BC_FA::Point_S_CM_LOTID>;
inline constexpr auto ppid = string_point<&BC_FA::Point_S_CM_PPID>;

// Carrier ids: kind 13 reports a carrier that is on two ports, B the other port, C its id.

inline constexpr int duplicate_carrier = 13;

inline std::string reported_carrier_id(const Event_Context& event) {
    const std::string& given = event.fields[C];
    return event.kind == duplicate_carrier && !given.empty() ? given : carrier_id(event);
}
inline std::string duplicate_port(const Event_Context& event) {
    return event.kind == duplicate_carrier ? name("PORT", number<B>(event)) : "";
}
/// Carrier actions 73 and 74 name their carrier.
inline std::string acted_carrier_id(const Event_Context& event) {
    const std::string& given = event.fields[B];
    return given.empty() ? read_carrier_id(event) : given;
}

// Process modules: kinds 3 to 5 report a recipe step (B name, C number), kind 6 of the result (B).

inline constexpr int process_result_kind = 6;

inline std::string pm_id(const Event_Context& event) {
    return or_empty(event.fa.QSCH_Get_PM_Module_ID(event.index));
}
inline std::string pm_name(const Event_Context& event) {
    return or_empty(event.fa.QSCH_Get_PM_Module_Name(event.index));
}
inline int process_result(const Event_Context& event) {
    return event.kind == process_result_kind ? number<B>(event) : 0;
}
inline std::string step_name(const Event_Context& event) {
    return event.kind == process_result_kind ? "" : event.fields[B];
}

// Modules by name, and substrates on their way: kinds 5 to 8 carry from (C module, D slot) and to (E, F).

template <Field field>
std::string module_id(const Event_Context& event) {
    return or_empty(event.fa.QModule_Get_ID(event.fields[field].c_str()));
}
template <Field field>
std::string module_name(const Event_Context& event) {
    return or_empty(event.fa.QModule_Get_Name(event.fields[field].c_str()));
}
inline bool is_transfer(const Event_Context& event) {
    return event.kind >= 5 && event.kind <= 8;
}
template <std::string (*value)(const Event_Context&)>
std::string of_transfer(const Event_Context& event) {
    return is_transfer(event) ? value(event) : "";
}
template <Field field>
std::string module_slot(const Event_Context& event) {
    return name("SLOT", number<field>(event));
}

inline std::string trace_period(const Event_Context&) {
    return "HHMMSS";  // K35: the letters (docs/kept-behaviour.md)
}

/// Kinds from 1: lot recipes, from 11: cluster recipes, from 21: recipes of the process module B.
inline std::string recipe_type(const Event_Context& event) {
    if (event.kind <= 3) return "LOT";
    if (event.kind <= 13) return "CLUSTER";
    return event.fields[B].empty() ? "PM" : event.fields[B];
}

// Equipment constants: A is the number. The point's live value is the new one, the value in memory the old
// one.

inline const ECID_STRU* constant(const Event_Context& event) {
    ECID_STRU* record = nullptr;
    event.fa.QFA_Get_ECID_Stru(number<A>(event), &record);
    return record;
}
inline std::string analog_text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}
/// An unknown constant is reported under the text that came.
inline std::string constant_name(const Event_Context& event) {
    const ECID_STRU* record = constant(event);
    return record != nullptr ? record->sv_name : event.fields[A];
}
inline std::string constant_type(const Event_Context& event) {
    const ECID_STRU* record = constant(event);
    return record != nullptr ? record->type : "";
}
template <bool live>
std::string constant_value(const Event_Context& event) {
    const ECID_STRU* record = constant(event);
    if (record == nullptr) return "";
    BC_FA& fa = event.fa;
    const int point = record->point;
    switch (record->io_type) {
        case IO_DIGITAL: return std::to_string(live ? fa.QDigital_Read(point) : fa.QDigital_Read_Mem(point));
        case IO_ANALOG: return analog_text(live ? fa.QAnalog_Read(point) : fa.QAnalog_Read_Mem(point));
        case IO_STRING: return or_empty(live ? fa.QString_Read(point) : fa.QString_Read_Mem(point));
        default: return "";
    }
}

}  // namespace Talwen::event_value
