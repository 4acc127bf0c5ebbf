// The table command: the module's tables of variables, alarms, definitions and spooled messages.
#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <vector>

#include "apps/equipment/commands.h"
#include "fa/config/alarm_table.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/spool_table.h"
#include "sim/text.h"

namespace equipment {

namespace {

using sim::to_text;
using Talwen::BC_FA;

/// A word of an answer: " name=value", the value in quotes when it is empty or holds blanks.
std::string field(const char* name, const std::string& value) {
    const bool plain = !value.empty() && value.find_first_of(" \t\"") == std::string::npos;
    return std::string(" ") + name + "=" + (plain ? value : '"' + value + '"');
}

/// Numbers with commas between them.
std::string joined(const std::vector<int>& numbers) {
    std::string list;
    for (const int number : numbers) list += (list.empty() ? "" : ",") + to_text(number);
    return list;
}

std::string variable_fields(const Talwen::VARIABLE_STRU& v) {
    return field("id", to_text(v.id)) + field("point", to_text(v.point)) +
           field("io_type", to_text(v.io_type)) + field("max", to_text(v.max)) +
           field("min", to_text(v.min)) + field("dev", to_text(v.dev)) +
           field("isbuilt", to_text(v.isbuilt)) + field("sv_name", v.sv_name) + field("unit", v.unit) +
           field("format", to_text(v.format)) + field("type", v.type) + field("ecs_name", v.ecs_name) +
           field("description", v.description);
}

std::string alarm_fields(const Talwen::ALID_STRU& alarm) {
    return field("ALID", to_text(alarm.ALID)) + field("ALCD", to_text(alarm.ALCD.load())) +
           field("index", to_text(alarm.index)) + field("enable", to_text(alarm.enable.load() ? 1 : 0));
}

std::string definition_fields(const Talwen::RPTID_STRU& report) {
    return field("DATAID", to_text(report.DATAID)) + field("RPTID", to_text(report.RPTID)) +
           field("description", report.description) + field("LINKVID", joined(report.LINKVID));
}

std::string definition_fields(const Talwen::CEID_STRU& event) {
    return field("DATAID", to_text(event.DATAID)) + field("CEID", to_text(event.CEID)) +
           field("enable", to_text(event.enable ? 1 : 0)) + field("event_name", event.event_name) +
           field("description", event.description) + field("LINKRPTID", joined(event.LINKRPTID));
}

std::string definition_fields(const Talwen::TRID_STRU& trace) {
    return field("TRID", to_text(trace.TRID)) + field("DSPER", trace.DSPER) +
           field("period", to_text(trace.period)) + field("TOTSMP", to_text(trace.TOTSMP)) +
           field("sample_count", to_text(trace.sample_count)) + field("elapsed", to_text(trace.elapsed)) +
           field("REPGSZ", to_text(trace.REPGSZ)) + field("description", trace.description) +
           field("LINKSVID", joined(trace.LINKSVID));
}

template <class Table>
std::string ids(const Table& table) {
    std::string list;
    for (const auto& [id, record] : table) list += (list.empty() ? "" : " ") + to_text(id);
    return list;
}

template <class Record>
std::string variable(BC_FA& module, bool (BC_FA::*find)(int, Record**), int id) {
    Record* record = nullptr;
    if (!(module.*find)(id, &record)) throw Refusal("no record has the id " + to_text(id));
    return variable_fields(*record).substr(1);
}

std::string alarm_ids() {
    const std::lock_guard lock(Talwen::ALID_Mutex);
    return ids(Talwen::ALID_List);
}

std::string alarm(BC_FA& module, std::string_view id) {
    Talwen::ALID_STRU* record = nullptr;
    const int number = number_argument(id, "the ID");
    if (!module.QFA_Get_ALID_Stru(number, &record)) throw Refusal("no alarm has the id " + to_text(number));
    return alarm_fields(*record).substr(1);
}

std::string message_name(int stream, int function) {
    return "S" + to_text(stream) + "F" + to_text(function);
}

std::string spooled_ids() {
    std::string list;
    for (int stream = 0; stream < Talwen::Spool_Streams; ++stream) {
        for (int function = 0; function < Talwen::Spool_Functions; ++function) {
            if (!Talwen::QFA_Get_Spool_Enable(stream, function)) continue;
            list += (list.empty() ? "" : " ") + message_name(stream, function);
        }
    }
    return list;
}

std::string spooled(std::string_view message) {
    unsigned char stream = 0;
    unsigned char function = 0;
    if (!Talwen::QStr_Check_SxxFxx(std::string(message).c_str(), &stream, &function)) {
        throw Refusal("expected table SPOOL SxFy");
    }
    return field("stream", to_text(stream)).substr(1) + field("function", to_text(function)) +
           field("candidate", Talwen::QFA_Is_Spool_Candidate(stream, function) ? "1" : "0") +
           field("enable", Talwen::QFA_Get_Spool_Enable(stream, function) ? "1" : "0");
}

template <class Record>
std::string definition_ids(const Talwen::Definition_List<Record>& definitions, int Record::*number) {
    std::vector<int> numbers;
    for (const auto& record : definitions.all()) numbers.push_back((*record).*number);
    std::string list = joined(numbers);
    std::ranges::replace(list, ',', ' ');
    return list;
}

template <class Record>
std::string definition(const Talwen::Definition_List<Record>& definitions, std::string_view id) {
    const int number = number_argument(id, "the ID");
    const auto record = definitions.find(number);
    if (record == nullptr) throw Refusal("no record has the id " + to_text(number));
    return definition_fields(*record).substr(1);
}

std::string terminal_message(std::string_view id) {
    const int number = number_argument(id, "the ID");
    const auto record = Talwen::TMSG_List.find(number);
    if (record == Talwen::TMSG_List.end()) throw Refusal("no record has the id " + to_text(number));
    return field("TID", to_text(record->second.TID)).substr(1) + field("TMESSAGE", record->second.TMESSAGE);
}

struct Kind {
    const char* name;
    std::string (*list)();
    std::string (*record)(BC_FA& module, std::string_view id);
    bool (BC_FA::*add)(char* text);  // null when records cannot be added
};

#define EQUIPMENT_VARIABLES(kind)                                                          \
    Kind {                                                                                 \
#kind, [] { return ids(*Talwen::kind##_List.read()); },                                  \
            [](BC_FA& module, std::string_view id) {                                     \
                return variable<Talwen::kind##_STRU>(module, &BC_FA::QFA_Get_##kind##_Stru, \
                                                     number_argument(id, "the ID"));     \
            },                                                                           \
            &BC_FA::QFA_Add_##kind##_List \
    }

#define EQUIPMENT_DEFINITIONS(kind)                                                                  \
    Kind {                                                                                           \
#kind, [] { return definition_ids(Talwen::kind##_List, &Talwen::kind##_STRU::kind); },             \
            [](BC_FA&, std::string_view id) { return definition(Talwen::kind##_List, id); }, nullptr \
    }

const std::array kinds = {
    EQUIPMENT_VARIABLES(SVID),
    EQUIPMENT_VARIABLES(ECID),
    EQUIPMENT_VARIABLES(RVID),
    EQUIPMENT_VARIABLES(DVID),
    EQUIPMENT_DEFINITIONS(RPTID),
    EQUIPMENT_DEFINITIONS(CEID),
    EQUIPMENT_DEFINITIONS(TRID),
    Kind{"TMSG", [] { return ids(Talwen::TMSG_List); },
         [](BC_FA&, std::string_view id) { return terminal_message(id); }, nullptr},
    Kind{"ALID", alarm_ids, alarm, nullptr},
    Kind{"SPOOL", spooled_ids, [](BC_FA&, std::string_view id) { return spooled(id); }, nullptr},
};

#undef EQUIPMENT_VARIABLES
#undef EQUIPMENT_DEFINITIONS

const Kind& find_kind(std::string_view name) {
    for (const Kind& kind : kinds) {
        if (kind.name == name) return kind;
    }
    std::string names;
    for (const Kind& kind : kinds) names += std::string(" ") + kind.name;
    throw Refusal("expected table KIND [ID], KIND one of" + names);
}

std::string add_records(BC_FA& module, std::string_view arguments) {
    const Kind& kind = find_kind(sim::take_word(arguments));
    if (kind.add == nullptr || arguments.empty())
        throw Refusal("expected table add SVID|ECID|RVID|DVID TEXT");
    std::string text(arguments);  // the module takes it apart
    if (!(module.*kind.add)(text.data())) throw Refusal("the module refused the records");
    return "ok";
}

}  // namespace

std::string run_table(Context& context, std::string_view arguments) {
    const std::string_view word = sim::take_word(arguments);
    if (word == "add") return add_records(context.module, arguments);
    const Kind& kind = find_kind(word);
    const std::string_view id = sim::trim(arguments);
    return id.empty() ? kind.list() : kind.record(context.module, id);
}

}  // namespace equipment
