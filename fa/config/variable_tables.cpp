#include "fa/config/variable_tables.h"

#include <cstring>
#include <utility>

#include "fa/config/config_file.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

/// Takes bracketed text out of a description.
/// K15: a unit in brackets does not become the unit (docs/kept-behaviour.md).
void handle_brackets(VARIABLE_STRU& record) {
    std::string& description = record.description;
    if (description.starts_with('[')) description = QStr_Right(description, ']');
    if (description.ends_with(']')) {
        description = QStr_Right(description, '[');
        QStr_Remove(record.unit, ']');
        if (record.unit.empty()) record.unit = "-";
        description = QStr_Left(description, '[');
    }
    QStr_Trimed(record.unit);
    if (record.unit.empty()) record.unit = "-";
}

/// Reads "id&point&iotype&max&min&dev&description" into the record; other fields stay as they are.
void read_record(QSeqCon& controller, const std::string& text, VARIABLE_STRU& record) {
    std::string id, point, io_type, max, min, dev;
    Config_Split(text, '&', {&id, &point, &io_type, &max, &min, &dev, &record.description});
    Config_Cut(record.description, 199);
    record.id = Config_Int(id);
    record.point = Config_Int(point);
    record.io_type = static_cast<IO_TYPE>(Config_Int(io_type));
    record.max = Config_Real(max);
    record.min = Config_Real(min);
    record.dev = Config_Int(dev);
    handle_brackets(record);
    switch (record.io_type) {
        case IO_DIGITAL: record.sv_name = controller.QDigital_Get_Name(record.point); break;
        case IO_ANALOG: record.sv_name = controller.QAnalog_Get_Name(record.point); break;
        case IO_STRING: record.sv_name = controller.QString_Get_Name(record.point); break;
        default: break;
    }
}

template <class Record>
bool add(QSeqCon& controller, char* text, Variable_Table<Record>& table) {
    std::vector<Record> records;
    Record record;  // one for all: what a record's text does not set stays from the record before it
    for (const char* rest = text; *rest != '\0';) {
        const std::size_t length = std::strcspn(rest, "|");
        std::string one(rest, length);
        Config_Cut(one, 299);
        rest += length + (rest[length] == '|' ? 1 : 0);
        read_record(controller, one, record);
        records.push_back(record);
    }
    table.put(std::move(records));
    text[0] = '\0';
    return true;
}

/// Hands out a plain pointer, kept good until the same thread is given another record of the table.
template <class Record, class Find>
bool hand_out(const Variable_Table<Record>& table, Find find, Record** out) {
    thread_local typename Variable_Table<Record>::Pointer handed_out;
    auto now = table.read();
    Record* record = find(*now);
    if (record == nullptr) return false;
    handed_out = std::move(now);
    *out = record;
    return true;
}

template <class Record>
bool get(const Variable_Table<Record>& table, int id, Record** out) {
    return hand_out(
        table, [id](const Variables<Record>& all) { return all.find(id); }, out);
}

template <class Record>
bool remove_all(Variable_Table<Record>& table) {
    table.clear();
    return true;
}

}  // namespace

// The same operations on each table. QFA_Get_All_... load nothing: files are loaded when the module is
// entered.
#define FA_VARIABLE_TABLE(NAME)                                    \
    bool BC_FA::QFA_Add_##NAME##_List(char* text) {                \
        return add(*this, text, NAME##_List);                      \
    }                                                              \
    bool BC_FA::QFA_Get_##NAME##_Stru(int id, NAME##_STRU** out) { \
        return get(NAME##_List, id, out);                          \
    }                                                              \
    bool BC_FA::QFA_Get_All_##NAME##_List() {                      \
        return true;                                               \
    }                                                              \
    bool BC_FA::QFA_Remove_All_##NAME##_List() {                   \
        return remove_all(NAME##_List);                            \
    }
FA_VARIABLE_TABLE(SVID)
FA_VARIABLE_TABLE(ECID)
FA_VARIABLE_TABLE(RVID)
FA_VARIABLE_TABLE(DVID)
#undef FA_VARIABLE_TABLE

bool BC_FA::QFA_Get_RVID_Stru(const char* name, RVID_STRU** out) {
    const auto first_of_that_name = [name](const Variables<RVID_STRU>& all) -> RVID_STRU* {
        for (const auto& [id, record] : all)
            if (record->sv_name == name) return record.get();
        return nullptr;
    };
    return hand_out(RVID_List, first_of_that_name, out);
}

}  // namespace Talwen
