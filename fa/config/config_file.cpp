#include "fa/config/config_file.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <utility>

#include "fa/config/decimal.h"
#include "fa/framework/qanal.h"
#include "fa/framework/qfile.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"

namespace Talwen {

namespace {

constexpr char folder[] = "Z:\\FA";
constexpr char fallback_folder[] = "J:\\Talwen\\Config\\FA";

}  // namespace

std::string Config_Primary_Path(const char* name) {
    return std::string(folder) + '\\' + name;
}

std::string Config_Read_Path(const char* name) {
    std::string path = Config_Primary_Path(name);
    if (!QFile_Check_File_Exist(path.c_str())) path = std::string(fallback_folder) + '\\' + name;
    return path;
}

Config_Lines::Config_Lines(std::string path, bool raises)
    : path_(std::move(path)), file_(QFile_Open(path_.c_str(), "r")), raises_(raises) {}

Config_Lines::~Config_Lines() {
    if (file_ != nullptr) QFile_Close(file_);
}

bool Config_Lines::next() {
    // The call that reports the end of the file may still have read a line.
    while (more_) {
        line_.fill('\0');
        length_ = 0;
        constexpr int size = 1024;
        more_ = raises_ ? QAnal_Get_Line_String_From_File2(file_, line_.data(), size, &length_)
                        : QAnal_Get_Line_String_From_File(file_, line_.data(), &length_);
        ++number_;
        if (length_ > 0) return true;
    }
    return false;
}

std::string Config_Lines::place(const char* loader, int code_line) const {
    return "[文件行:" + path_ + ':' + std::to_string(number_) + "][代码行:" + loader + ':' +
           std::to_string(code_line) + ']';
}

bool Config_Make_Folder(const QSequence& fa) {
    if (QFile_Create_Folder(folder)) return true;
    QPrint_Red(fa.Print_Tag, "文件夹:\"%s\" 创建失败![%s]", folder, QStr_Get_SysErrMsg());
    return false;
}

void Config_Append(std::string& text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    const std::size_t start = text.size();
    text.resize(start + static_cast<std::size_t>(std::max(length, 0)));
    // The NUL that comes with it goes where the text has its own.
    std::vsnprintf(text.data() + start, text.size() - start + 1, format, again);
    va_end(again);
}

bool Config_Write(const QSequence& fa, const char* name, const char* failed, const std::string& text) {
    const std::string path = Config_Primary_Path(name);
    std::FILE* const file = QFile_Open(path.c_str(), "w+");
    if (file != nullptr) {
        std::fwrite(text.data(), 1, text.size(), file);  // a write that failed is seen when it is closed
        if (QFile_Close(file) == 0) return true;
    }
    QPrint_Red(fa.Print_Tag, failed, path.c_str(), path.c_str());
    return false;
}

bool Config_Save(const QSequence& fa, const char* name, const char* failed, const std::string& text) {
    return Config_Make_Folder(fa) && Config_Write(fa, name, failed, text);
}

void Config_Split(std::string all, char mark, std::initializer_list<std::string*> fields, std::size_t limit) {
    const int size = static_cast<int>(limit) + 1;
    std::string rest;
    const auto last = fields.end() - 1;
    for (auto field = fields.begin(); field != last; ++field) {
        QStr_Seperate_Char(all, mark, **field, rest, size);
        all.swap(rest);
    }
    **last = std::move(all);
}

void Config_Cut(std::string& field, std::size_t limit) {
    if (field.size() > limit) field.resize(limit);
}

void Config_Clean(std::string& text) {
    QStr_Replace(text, '\r', ' ');
    QStr_Remove(text, '"');
}

int Config_Int(const std::string& text) {
    return Leading_Number<int>(text.c_str());  // up to a NUL
}

double Config_Real(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

}  // namespace Talwen
