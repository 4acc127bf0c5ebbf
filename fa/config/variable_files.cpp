// SVID.cfg, ECID.cfg and RVID.cfg: one loader and one writer, and a description of each file.
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "fa/config/config_file.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_item.h"

namespace Talwen {

namespace {

struct Type_Word {
    const char* word;
    SECS_FORMAT format;
};

/// The words of the TYPE column. A variable cannot be U8, I8, B or Boolean.
constexpr Type_Word type_words[] = {
    {"L", SECS_FORMAT_L},   {"U1", SECS_FORMAT_U1}, {"U2", SECS_FORMAT_U2}, {"U4", SECS_FORMAT_U4},
    {"I1", SECS_FORMAT_I1}, {"I2", SECS_FORMAT_I2}, {"I4", SECS_FORMAT_I4}, {"F4", SECS_FORMAT_F4},
    {"F8", SECS_FORMAT_F8}, {"A", SECS_FORMAT_A},
};

const Type_Word* find_type(const std::string& word) {
    for (const Type_Word& type : type_words)
        if (QStr_Compare_L(word.c_str(), type.word)) return &type;
    return nullptr;
}

// Binding a row to the IO point of its name: null, or the defect.

const char* bind_by_type(QSeqCon& controller, VARIABLE_STRU& row) {
    if (!controller.QIO_Find_Type(&row.io_type, row.sv_name.c_str())) return "IOTYPE获取失败.";
    controller.QIO_Find_Point(&row.point, row.io_type, row.sv_name.c_str());
    return row.point < 0 ? "IOPOINT获取失败." : nullptr;
}

const char* bind_by_name(QSeqCon& controller, VARIABLE_STRU& row) {
    return controller.QIO_Find(&row.point, &row.io_type, row.sv_name.c_str()) ? nullptr : "IO未识别";
}

// K13: SVID and ECID are written with a unit column, but read without (docs/kept-behaviour.md).

void write_row_with_unit(std::string& text, const VARIABLE_STRU& row) {
    Config_Append(text, "%-10d %-32s %-10s %-10s %-10d %-32s %-128s\n", row.id, row.sv_name.c_str(),
                  row.type.c_str(), row.unit.c_str(), row.isbuilt, row.ecs_name.c_str(),
                  ('"' + row.description + '"').c_str());
}

void write_row(std::string& text, const VARIABLE_STRU& row) {
    Config_Append(text, "%-10d %-32s %-10s %-10d %-32s \"%-128s\"\n", row.id, row.sv_name.c_str(),
                  row.type.c_str(), row.isbuilt, row.ecs_name.c_str(), row.description.c_str());
}

constexpr char head_of_6[] = "#%-10s %-32s %-10s %-10s %-32s %-128s\n";
constexpr char head_of_7[] = "#%-10s %-32s %-10s %-10s %-10s %-32s %-128s\n";

/// What sets one file apart from the others. "Place" is where a defect was found.
struct Variable_File {
    const char* name;
    const char* loader;
    const char* variable;      ///< in messages about one variable
    bool clear_first;          ///< the table is emptied once the file is open
    bool last_wins;            ///< of two rows with one id; else the first
    bool line_alone;           ///< a place is only the line
    const char* too_long;      ///< place
    const char* unknown_type;  ///< IONAME, TYPE, place
    const char* count;         ///< name of the file, number of records
    const char* count_name;    ///< name of the file there; null for its path
    const char* (*bind)(QSeqCon& controller, VARIABLE_STRU& row);

    const char* save_failed;  ///< path
    bool dash_lines;          ///< before and after the head line
    const char* head;
    std::array<const char*, 7> titles;
    void (*write_row)(std::string& text, const VARIABLE_STRU& row);
};

constexpr Variable_File svid_file{
    "SVID.cfg",
    "FILE_GET_ALL_SVID",
    "SVID",
    false,
    false,
    false,
    "参数过长. %s",
    "IONAME:%s  - TYPE:%s 未识别. %s",
    "%s 获取 SVID 数量: %d.",
    nullptr,
    bind_by_type,
    "[%s] 文件保存失败.",
    true,
    head_of_6,
    {"SVID", "IONAME", "TYPE", "ISBUILT", "VNAME", "DESCRIPTION"},
    write_row_with_unit,
};

// Reports the primary path even when the fallback was read.
constexpr Variable_File ecid_file{
    "ECID.cfg",
    "FILE_GET_ALL_ECID",
    "ECID",
    true,
    true,
    true,
    "Parameter Too Long - [Z:\\FA\\ECID.cfg]-%s",
    "FA/ECID.cfg  Name:%s  - Type:%s Unknown %s",
    "%s Get ECID num: %d",
    "FA/ECID.cfg",
    bind_by_name,
    "[%s] 文件打开失败!\n",
    false,
    head_of_7,
    {"id", "sv_name", "type", "unit", "isbuilt", "ecs_name", "description"},
    write_row_with_unit,
};

constexpr Variable_File rvid_file{
    "RVID.cfg",
    "FILE_GET_ALL_RVID",
    "RVID",
    false,
    false,
    false,
    "参数过长. %s",
    "IONAME:%s  - TYPE:%s 未识别.%s",
    "%s 获取 RVID 数量: %d",
    nullptr,
    bind_by_name,
    "[%s] 文件保存失败!",
    true,
    head_of_6,
    {"RVID", "IONAME", "TYPE", "ISBUILT", "VNAME", "DESCRIPTION"},
    write_row,
};

std::string place(const Variable_File& file, const Config_Lines& lines, int code_line) {
    if (file.line_alone) return "[Line:" + std::to_string(lines.number()) + ']';
    return lines.place(file.loader, code_line);
}

/// Takes limits, decimals and unit from the row's point.
/// K14: a string point's row keeps those of the row before it (docs/kept-behaviour.md).
void take_limits(QSeqCon& controller, VARIABLE_STRU& row) {
    if (row.io_type == IO_DIGITAL) {
        row.max = controller.QDigital_Get_Max(row.point);
        row.min = controller.QDigital_Get_Min(row.point);
        row.dev = 0;
        row.unit = controller.QDigital_Get_Unit(row.point);
    } else if (row.io_type == IO_ANALOG) {
        row.max = controller.QAnalog_Get_Max(row.point);
        row.min = controller.QAnalog_Get_Min(row.point);
        row.dev = controller.QAnalog_Get_Decimal(row.point);
        row.unit = controller.QAnalog_Get_Unit(row.point);
    }
}

enum class Row { Good, Skipped, Unknown_Type };

Row read_row(BC_FA& fa, const Variable_File& file, const Config_Lines& lines, VARIABLE_STRU& row) {
    std::string id, isbuilt, vname;  // VNAME is skipped
    Config_Split(lines.text(), Config_White_Space,
                 {&id, &row.sv_name, &row.type, &isbuilt, &vname, &row.description});
    Config_Cut(row.sv_name, 63);
    Config_Cut(row.type, 15);
    Config_Cut(row.description, 255);
    row.id = Config_Int(id);
    const Type_Word* type = find_type(row.type);
    if (type == nullptr) {
        QPrint_Red(fa.Print_Tag, file.unknown_type, row.sv_name.c_str(), row.type.c_str(),
                   place(file, lines, __LINE__).c_str());
        return Row::Unknown_Type;
    }
    row.format = type->format;
    row.isbuilt = Config_Int(isbuilt);
    Config_Clean(row.description);
    if (const char* defect = file.bind(fa, row)) {
        QPrint_Red(fa.Print_Tag, "%s:%d[%s] %s", file.variable, row.id, row.sv_name.c_str(), defect);
        return Row::Skipped;
    }
    take_limits(fa, row);
    return Row::Good;
}

/// The good rows up to a line that ends the load; false then.
template <class Record>
bool read_rows(BC_FA& fa, const Variable_File& file, Config_Lines& lines, std::vector<Record>& rows) {
    Record row;  // one for all rows, see take_limits
    while (lines.next()) {
        if (lines.too_long()) {
            QPrint_Red(fa.Print_Tag, file.too_long, place(file, lines, __LINE__).c_str());
            return false;
        }
        const Row result = read_row(fa, file, lines, row);
        if (result == Row::Unknown_Type) {
            lines.leave_open();  // K11 (docs/kept-behaviour.md)
            return false;
        }
        if (result == Row::Good) rows.push_back(row);
    }
    return true;
}

template <class Record>
bool load(BC_FA& fa, const Variable_File& file, Variable_Table<Record>& table) {
    Config_Lines lines(Config_Read_Path(file.name));
    if (!lines.opened()) {
        QPrint_Red(fa.Print_Tag, "[%s] 文件读取失败.", lines.path());
        return false;
    }
    std::vector<Record> rows;
    const bool good = read_rows(fa, file, lines, rows);
    if (file.clear_first) table.clear();
    table.put(std::move(rows), file.last_wins);
    if (!good) return false;
    if (fa.QIO_Get_GEM_PrnChk() != 0)
        QPrint_Green(fa.Print_Tag, file.count, file.count_name != nullptr ? file.count_name : lines.path(),
                     static_cast<int>(table.size()));
    return true;
}

template <class Record>
bool save(BC_FA& fa, const Variable_File& file, const Variable_Table<Record>& table) {
    const std::string dashes = file.dash_lines ? '#' + std::string(113, '-') + '\n' : "";
    const auto& t = file.titles;
    std::string text = dashes;
    Config_Append(text, file.head, t[0], t[1], t[2], t[3], t[4], t[5], t[6]);
    text += dashes;
    for (const auto& [id, record] : *table.read()) file.write_row(text, *record);
    return Config_Save(fa, file.name, file.save_failed, text);
}

}  // namespace

bool BC_FA::FILE_GET_ALL_SVID() {
    return load(*this, svid_file, SVID_List);
}
bool BC_FA::FILE_GET_ALL_ECID() {
    return load(*this, ecid_file, ECID_List);
}
bool BC_FA::FILE_GET_ALL_RVID() {
    return load(*this, rvid_file, RVID_List);
}
bool BC_FA::FILE_SAVE_ALL_SVID() {
    return save(*this, svid_file, SVID_List);
}
bool BC_FA::FILE_SAVE_ALL_ECID() {
    return save(*this, ecid_file, ECID_List);
}
bool BC_FA::FILE_SAVE_ALL_RVID() {
    return save(*this, rvid_file, RVID_List);
}

}  // namespace Talwen
