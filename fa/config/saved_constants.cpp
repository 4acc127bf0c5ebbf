// ECID_SAVE.inf and its backup ECID_SAVE2.inf: the last values of the equipment constants.
#include <array>
#include <cstdio>
#include <string>
#include <unordered_map>

#include "fa/config/config_file.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qprint.h"
#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

constexpr char loader[] = "FILE_READ_ECID_SAVE";

/// Value texts that hold no number throw, as std::stoi and std::stod do.
struct Constant_Kind {
    const char* word;
    const char* (*name)(QSeqCon& controller, int point);
    void (*write)(QSeqCon& controller, int point, const std::string& value);
    std::string (*read)(QSeqCon& controller, int point);
};

/// By IO type.
constexpr std::array<Constant_Kind, 3> kinds{{
    {"$D", [](QSeqCon& controller, int point) { return controller.QDigital_Get_Name(point); },
     [](QSeqCon& controller, int point, const std::string& value) {
         controller.QDigital_Write_Mem(point, std::stoi(value, nullptr, 10));
     },
     [](QSeqCon& controller, int point) { return std::to_string(controller.QDigital_Read_Mem(point)); }},
    {"$A", [](QSeqCon& controller, int point) { return controller.QAnalog_Get_Name(point); },
     [](QSeqCon& controller, int point, const std::string& value) {
         controller.QAnalog_Write_Mem(point, std::stod(value));
     },
     [](QSeqCon& controller, int point) {
         char text[32];
         std::snprintf(text, sizeof text, "%g", controller.QAnalog_Read_Mem(point));
         return std::string(text);
     }},
    {"$S", [](QSeqCon& controller, int point) { return controller.QString_Get_Name(point); },
     [](QSeqCon& controller, int point, const std::string& value) {
         controller.QString_Write_Mem(point, value.c_str());
     },
     [](QSeqCon& controller, int point) { return std::string(controller.QString_Read_Mem(point)); }},
}};

std::size_t kind_of_word(const std::string& word) {
    std::size_t kind = 0;
    while (kind < kinds.size() && word != kinds[kind].word) ++kind;
    return kind;
}

std::size_t kind_of(const ECID_STRU& constant) {
    return static_cast<std::size_t>(constant.io_type);
}

/// K16: the points of the ECIDs 0 to N - 1, counted; a gap throws std::out_of_range (docs/kept-behaviour.md).
class Constant_Points {
  public:
    explicit Constant_Points(QSeqCon& controller) : controller_(controller) {}

    int count() const { return count_; }

    /// The point that the first constant of that kind and point name is bound to, or null.
    const int* find(std::size_t kind, const std::string& name) {
        if (!is_read_) read();
        const auto found = by_name_[kind].find(name);
        if (found != by_name_[kind].end()) return &found->second;
        if (gap_ < count_) constants_->at(gap_);
        return nullptr;
    }

  private:
    void read() {
        is_read_ = true;
        for (gap_ = 0; gap_ < count_; ++gap_) {
            const ECID_STRU* constant = constants_->find(gap_);
            if (constant == nullptr) return;
            const std::size_t kind = kind_of(*constant);
            if (kind >= kinds.size() || (constant->io_type == IO_DIGITAL && constant->point < 0)) continue;
            by_name_[kind].try_emplace(kinds[kind].name(controller_, constant->point), constant->point);
        }
    }

    QSeqCon& controller_;
    const Variable_Table<ECID_STRU>::Pointer constants_ = ECID_List.read();
    const int count_ = static_cast<int>(constants_->size());
    bool is_read_ = false;
    int gap_ = 0;  // the first number that is missing, or count_
    std::array<std::unordered_map<std::string, int>, kinds.size()> by_name_;
};

enum class Restored { Missing, Bad, Good };

class Restore {
  public:
    explicit Restore(BC_FA& fa) : fa_(fa), points_(fa) {}

    Restored read(const std::string& path, bool has_backup) {
        Config_Lines lines(path, true);
        if (!lines.opened()) {
            if (has_backup)
                QPrint_Red(fa_.Print_Tag, "[%s]文件打开失败.转[%s2].[代码行:%s:%d]", lines.path(),
                           lines.path(), loader, __LINE__);
            else
                QPrint_Red(fa_.Print_Tag, "[%s]文件打开失败.[代码行:%s:%d]", lines.path(), loader, __LINE__);
            return Restored::Missing;
        }
        Restored result = Restored::Good;
        while (next(lines, result)) {
            // K12: lines of 1023 bytes are too long here (docs/kept-behaviour.md).
            if (lines.length() >= 1023) {
                QPrint_Red(fa_.Print_Tag, "参数太长 - [%s]-[line:%d], 转[%s2]", lines.path(), lines.number(),
                           lines.path());
                return Restored::Bad;
            }
            if (!take_line(lines)) result = Restored::Bad;
        }
        return result;
    }

  private:
    bool next(Config_Lines& lines, Restored& result) const {
        try {
            return lines.next();
        } catch (...) {
            QPrint_Red(fa_.Print_Tag, "[%s]文件损坏, 转[%s2]...", lines.path(), lines.path());
            result = Restored::Bad;
            return false;
        }
    }

    /// False for an unknown kind; a constant that is not there is passed over.
    bool take_line(const Config_Lines& lines) {
        std::string word, name, value, ignored;
        Config_Split(lines.text(), Config_White_Space, {&word, &name, &value, &ignored});
        const std::size_t kind = kind_of_word(word);
        if (kind == kinds.size()) {
            QPrint_Red(fa_.Print_Tag, "字符串不能正常解析[%s],转%s2", lines.text(), lines.path());
            return false;
        }
        const int* point = points_.find(kind, name);
        if (point == nullptr) return true;
        kinds[kind].write(fa_, *point, value);
        ++restored_;
        QPrint_Blue(fa_.Print_Tag, "[%04d:%04d][ECID_SAVE][%c] 读取并赋初值 %s - %s", restored_,
                    points_.count(), word[1], name.c_str(), value.c_str());
        return true;
    }

    BC_FA& fa_;
    Constant_Points points_;
    int restored_ = 1;  // so the first value shows as 2
};

std::string read_path(BC_FA& fa, const char* name) {
    std::string path = Config_Read_Path(name);
    const std::string primary = Config_Primary_Path(name);
    if (path != primary) fa.QSystem_Log(LOG_NORMAL, "%s 文件不存在，转向%s", primary.c_str(), path.c_str());
    return path;
}

/// A line for each constant; throws std::out_of_range when they are not numbered from 0 without a gap.
std::string value_lines(QSeqCon& controller) {
    std::string text;
    const auto constants = ECID_List.read();
    const int count = static_cast<int>(constants->size());
    for (int k = 0; k < count; ++k) {
        const ECID_STRU& constant = constants->at(k);
        const std::size_t kind = kind_of(constant);
        if (kind >= kinds.size()) continue;
        text += std::string(kinds[kind].word) + ' ' + kinds[kind].name(controller, constant.point) + ' ' +
                kinds[kind].read(controller, constant.point) + '\n';
    }
    return text;
}

}  // namespace

bool BC_FA::FILE_READ_ECID_SAVE() {
    Restore restore(*this);
    const std::string file = read_path(*this, "ECID_SAVE.inf");
    const std::string backup = read_path(*this, "ECID_SAVE2.inf");
    const Restored first = restore.read(file, true);
    if (first == Restored::Good) return true;
    const Restored second = restore.read(backup, false);
    if (second == Restored::Good) return true;
    // A simulated machine needs no saved values.
    return first == Restored::Missing && second == Restored::Missing && QSystem_Get_Simulation();
}

bool BC_FA::FILE_SAVE_ECID_SAVE() {
    if (!Config_Make_Folder(*this)) return false;
    const std::string text = value_lines(*this);
    for (const char* name : {"ECID_SAVE.inf", "ECID_SAVE2.inf"})
        Config_Write(*this, name, "[%s] 文件打开失败, 转[%s2]!", text);
    return true;  // also when a file could not be written: the other one may have been
}

}  // namespace Talwen
