// QSeqCon: GEM status points, FA settings, data variables and cluster-tool points; bodies from their lists.
#include <string>
#include <type_traits>

#include "fa/framework/qseqcon.h"
#include "sim/controller/calls.h"
#include "sim/controller/setting_ranges.h"
#include "sim/machine/state.h"
#include "sim/text.h"

namespace Talwen {

using sim::count;
using sim::Ctc;
using sim::Dvid;
using sim::Fa;
using sim::Gem;
using sim::Operation;
using sim::state;
using sim::ValueTable;

namespace {

int number(const ValueTable& table, std::size_t index) {
    return table.number(index);
}
const char* text(const ValueTable& table, std::size_t index) {
    return table.text(index);
}

int as_value(int value) {
    return value;
}
std::string_view as_value(const char* value) {
    return sim::view(value);
}

std::string as_text(int value) {
    return sim::to_text(value);
}
std::string as_text(std::string_view value) {
    return std::string(value);
}

template <class Value>
bool set(Operation& op, ValueTable& table, std::size_t index, const Value& value) {
    if (sim::record(op, as_text(value)) == 0) return false;
    table.set(index, value);
    if constexpr (std::is_same_v<Value, int>) sim::check_setting(table.info(index).name, value);
    return true;
}

template <class Value>
bool set_dvid(Operation& op, Dvid variable, const Value& value) {
    if (sim::record(op, as_text(value)) == 0) return false;
    state().set_dvid(variable, value);
    return true;
}

int ctc_number(Ctc point, int cm, int slot) {
    const ValueTable* table = state().ctc_table(point, cm, slot);
    return table == nullptr ? 0 : table->number(static_cast<std::size_t>(point));
}

const char* ctc_text(Ctc point, int cm, int slot) {
    const ValueTable* table = state().ctc_table(point, cm, slot);
    return table == nullptr ? "" : table->text(static_cast<std::size_t>(point));
}

bool set_ctc(Operation& op, Ctc point, const std::string& place, int cm, int slot, const char* value) {
    const bool accepted = sim::record(op, place + " " + std::string(sim::view(value))) != 0;
    ValueTable* table = state().ctc_table(point, cm, slot);
    if (!accepted || table == nullptr) return false;
    table->set(static_cast<std::size_t>(point), sim::view(value));
    return true;
}

}  // namespace

#define SIM_INDEX(list, name) static_cast<std::size_t>(list::name)
#define SIM_RESULT_INT int
#define SIM_RESULT_TEXT const char*
#define SIM_READ_INT number
#define SIM_READ_TEXT text

#define SIM_GETTER(type, operation, list, table, name)        \
    SIM_READ(operation)                                       \
    SIM_RESULT_##type QSeqCon::operation() {                  \
        count(Op::operation);                                 \
        return SIM_READ_##type(table, SIM_INDEX(list, name)); \
    }
#define SIM_SETTER(type, operation, list, table, name)                            \
    SIM_BOOLEAN(operation)                                                        \
    bool QSeqCon::operation(SIM_RESULT_##type value) {                            \
        return set(Op::operation, table, SIM_INDEX(list, name), as_value(value)); \
    }

#define SIM_GEM_RO(type, name) SIM_GETTER(type, QIO_Get_GEM_##name, Gem, state().gem, name)
#define SIM_GEM_WO(type, name) SIM_SETTER(type, QIO_Set_GEM_##name, Gem, state().gem, name)
#define SIM_GEM_RW(type, name) SIM_GEM_RO(type, name) SIM_GEM_WO(type, name)
#define FA_GEM(type, access, name) SIM_GEM_##access(type, name)
#include "fa/framework/gem_points.def"
#undef FA_GEM

#define FA_SETTING(type, name)                             \
    SIM_GETTER(type, QFA_Get_##name, Fa, state().fa, name) \
    SIM_SETTER(type, QFA_Set_##name, Fa, state().fa, name)
#include "fa/framework/fa_settings.def"
#undef FA_SETTING

#define FA_DVID(type, name)                                                    \
    SIM_BOOLEAN(QFA_Set_DVID_##name)                                           \
    bool QSeqCon::QFA_Set_DVID_##name(SIM_RESULT_##type value) {               \
        return set_dvid(Op::QFA_Set_DVID_##name, Dvid::name, as_value(value)); \
    }
#include "fa/framework/dvid_setters.def"
#undef FA_DVID

#define SIM_CTC_READ_INT ctc_number
#define SIM_CTC_READ_TEXT ctc_text
#define SIM_CTC_GET_TOOL(type, name)                   \
    SIM_READ(QIO_Get_CTC_##name)                       \
    SIM_RESULT_##type QSeqCon::QIO_Get_CTC_##name() {  \
        count(Op::QIO_Get_CTC_##name);                 \
        return SIM_CTC_READ_##type(Ctc::name, -1, -1); \
    }
#define SIM_CTC_GET_CM(type, name)                          \
    SIM_READ(QIO_Get_CTC_##name)                            \
    SIM_RESULT_##type QSeqCon::QIO_Get_CTC_##name(int cm) { \
        count(Op::QIO_Get_CTC_##name);                      \
        return SIM_CTC_READ_##type(Ctc::name, cm, -1);      \
    }
#define SIM_CTC_GET_SLOT(type, name)                                  \
    SIM_READ(QIO_Get_CTC_##name)                                      \
    SIM_RESULT_##type QSeqCon::QIO_Get_CTC_##name(int cm, int slot) { \
        count(Op::QIO_Get_CTC_##name);                                \
        return SIM_CTC_READ_##type(Ctc::name, cm, slot);              \
    }
#define SIM_CTC_SET_CM(type, name)                                                          \
    SIM_BOOLEAN(QIO_Set_CTC_##name)                                                         \
    bool QSeqCon::QIO_Set_CTC_##name(int cm, SIM_RESULT_##type value) {                     \
        return set_ctc(Op::QIO_Set_CTC_##name, Ctc::name, sim::to_text(cm), cm, -1, value); \
    }
#define SIM_CTC_SET_SLOT(type, name)                                               \
    SIM_BOOLEAN(QIO_Set_CTC_##name)                                                \
    bool QSeqCon::QIO_Set_CTC_##name(int cm, int slot, SIM_RESULT_##type value) {  \
        const std::string place = sim::to_text(cm) + " " + sim::to_text(slot);     \
        return set_ctc(Op::QIO_Set_CTC_##name, Ctc::name, place, cm, slot, value); \
    }
#define SIM_CTC_RO(type, scope, name) SIM_CTC_GET_##scope(type, name)
#define SIM_CTC_WO(type, scope, name) SIM_CTC_SET_##scope(type, name)
#define SIM_CTC_RW(type, scope, name) SIM_CTC_GET_##scope(type, name) SIM_CTC_SET_##scope(type, name)
#define SIM_CTC(type, access, scope, name) SIM_CTC_##access(type, scope, name)
#include "sim/machine/ctc_points.def"
#undef SIM_CTC

}  // namespace Talwen
