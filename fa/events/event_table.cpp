#include "fa/events/event_table.h"

#include "fa/framework/qstr.h"

namespace Talwen {

namespace {

constexpr Ceid_Rule fixed(int ceid) {
    return {ceid, 0};
}
constexpr Ceid_Rule plus_n(int base) {
    return {base, 1};
}
constexpr Ceid_Rule plus_100_n(int base) {
    return {base, 100};
}

using K = Keyword;
using F = Event_Family;

// K33: some event numbers occur twice; ALARM_REPORT sends no S5F1 (docs/kept-behaviour.md).
//
// clang-format off
constexpr Event_Row rows[] = {
    // keyword      subword      N from, to  CEID              kind  fields  family
    {K::CTRLMODE,  "STATE",       1,   1, fixed(10101),        0,  0, F::control_state},
    {K::CTRLMODE,  "STATE",       2,   2, fixed(10101),        0,  0, F::control_state},
    {K::CTRLMODE,  "STATE",       3,   3, fixed(10103),        0,  0, F::control_state},
    {K::CTRLMODE,  "STATE",       4,   4, fixed(10104),        0,  0, F::control_state},
    {K::CTRLMODE,  "STATE",      11,  11, fixed(10111),        0,  0, F::control_state},
    {K::EQUIPMENT, "STATE",       1,  11, plus_n(12100),       0,  0, F::equipment_state},
    {K::PM,        "STATE",       1,   2, plus_n(10300),       0,  1, F::process_module},
    {K::PM,        "STATE",       3,   5, plus_n(10300),       0,  3, F::process_module},
    {K::PM,        "STATE",       6,   6, fixed(10306),        0,  2, F::process_module},
    {K::PORT,      "STATE",       1,  12, plus_100_n(11001),   0,  1, F::port_state},
    {K::PORT,      "TRANSFER",    1,   6, plus_100_n(11001),   0,  1, F::port_state},
    {K::PORT,      "TRANSFER",    7,   7, fixed(11701),        0,  3, F::port_state},
    {K::PORT,      "AMHS",        1,   2, plus_n(41100),       0,  1, F::amhs},
    {K::PORT,      "MATERIAL",    1,   2, plus_n(41200),       0,  1, F::material},
    {K::PORT,      "RESERVE",     1,   2, plus_n(41300),       0,  1, F::reserve},
    {K::SUBST,     "TRACK",       1,   2, plus_n(30100),       0,  2, F::substrate_track},
    {K::SUBST,     "TRACK",       3,   4, plus_n(30198),       0,  2, F::substrate_track},
    {K::SUBST,     "TRACK",       5,   8, plus_n(30296),       0,  6, F::substrate_track},
    {K::SUBST,     "TRACK",       9,  11, plus_n(30392),       0,  2, F::substrate_track},
    {K::SUBST,     "TRACK",      12,  13, plus_n(30489),       0,  2, F::substrate_track},
    {K::SUBST,     "TRACK",      14,  14, fixed(30601),        0,  2, F::substrate_track},
    {K::SUBST,     "TRACK",      15,  15, fixed(30701),        0,  2, F::substrate_track},
    {K::SUBST,     "OCR",         1,   1, fixed(30101),        0,  2, F::substrate_track},
    {K::SUBST,     "OCR",         2,   2, fixed(30102),        0,  2, F::substrate_track},
    {K::SUBST,     "OCR",         3,   3, fixed(30201),        0,  2, F::substrate_track},
    {K::CARRIER,   "ID",          1,   7, plus_n(41400),       0,  1, F::carrier_id},
    {K::CARRIER,   "ID",         11,  12, plus_n(43890),       0,  1, F::carrier_id},
    {K::CARRIER,   "ID",         13,  13, fixed(43903),        0,  3, F::carrier_id},
    {K::CARRIER,   "MAP",         1,   3, plus_n(41500),       0,  1, F::slot_map},
    {K::CARRIER,   "MAP",         4,   5, plus_n(41597),       0,  1, F::slot_map},
    {K::CARRIER,   "MAP",         6,   8, plus_n(41695),       0,  1, F::slot_map},
    {K::CARRIER,   "MAP",         9,   9, fixed(41801),        0,  1, F::slot_map},
    {K::CARRIER,   "ASSOC",       1,   3, plus_n(42100),       0,  1, F::association},
    {K::CARRIER,   "ACCESS",      1,   1, fixed(42201),        0,  1, F::access},
    {K::CARRIER,   "ACCESS",      2,   4, plus_n(42299),       0,  1, F::access},
    {K::CARRIER,   "ACTION",      1,   6, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     11,  14, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     21,  24, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     31,  34, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     41,  44, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     51,  54, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     61,  62, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     71,  72, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "ACTION",     73,  74, plus_n(48100),       0,  2, F::carrier_action},
    {K::CARRIER,   "ACTION",     81,  82, plus_n(48100),       0,  1, F::carrier_action},
    {K::CARRIER,   "IDMANL",      1,   9, plus_n(60100),       0,  1, F::manual_id},
    {K::MODULE,    "MODE",        1,   2, plus_n(50100),       0,  1, F::module_mode},
    {K::MODULE,    "MODE",        3,   3, fixed(50104),        0,  3, F::module_mode},
    {K::SPOOL,     "TRANSFER",    1,   2, plus_n(51100),       0,  1, F::spool},
    {K::TRACE,     "REPORT",      1,   3, plus_n(52100),       0,  1, F::trace},
    {K::RECIPE,    "EDIT",        1,   3, plus_n(53100),       0,  1, F::recipe_edit},
    {K::RECIPE,    "EDIT",        4,   6, plus_n(53197),       7,  1, F::recipe_edit},
    {K::RECIPE,    "EDIT",        7,   9, plus_n(53294),      14,  2, F::recipe_edit},
    {K::ALARM,     "REPORT",      1,   2, plus_n(54100),       0,  3, F::alarm_report},
    {K::ECID,      "CHANGE",      1,   1, fixed(56101),        0,  1, F::ec_change},
    {K::OPERATOR,  "COMMAND",     1,   1, fixed(57101),        0,  1, F::operator_command},
    {K::MESSAGE,   "RECOGNI",     1,   1, fixed(55101),        0,  1, F::message_recognition},
    {K::SEMI,      "TRANSFER",    1,   7, plus_n(61000),       0,  0, F::semi_transfer},
    {K::SEMI,      "TRANSFER",  101, 108, plus_n(61000),       0,  0, F::semi_transfer},
    {K::SEMI,      "TRANSFER",  201, 204, plus_n(61000),       0,  0, F::semi_transfer},
    {K::SEMI,      "TRANSFER",  301, 304, plus_n(61000),       0,  0, F::semi_transfer},
    {K::SEMI,      "TRANSFER",  401, 404, plus_n(61000),       0,  0, F::semi_transfer},
    {K::PRCSJOB,   "STATE",       1,   7, plus_n(49100),       0,  1, F::process_job},
};
// clang-format on

}  // namespace

const Event_Row* Find_Event(Keyword keyword, const std::string& subword, int number) {
    for (const Event_Row& row : rows) {
        if (row.keyword == keyword && number >= row.first && number <= row.last &&
            QStr_Compare_L(subword.c_str(), row.subword))
            return &row;
    }
    return nullptr;
}

}  // namespace Talwen
