// What the loaders and writers of the configuration files share: where a file is, its lines, its fields, its
// numbers. Every loader runs on the framework thread before the module's threads start.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "fa/framework/printf_format.h"
#include "fa/framework/qsequence.h"

namespace Talwen {

/// The splitter's mark for white space.
inline constexpr char Config_White_Space = 13;

/// "Z:\FA\name", where every file is written.
std::string Config_Primary_Path(const char* name);
/// Where a file is read: the primary path or, when nothing is there, "J:\Talwen\Config\FA\name" (which is not
/// tested).
std::string Config_Read_Path(const char* name);

/// The lines of one file, read one by one. The destructor closes the file, unless leave_open() was called.
class Config_Lines {
  public:
    /// Opens the file; see opened(). `raises`: next() throws when the file cannot be read, instead of ending.
    explicit Config_Lines(std::string path, bool raises = false);
    ~Config_Lines();
    Config_Lines(const Config_Lines&) = delete;
    Config_Lines& operator=(const Config_Lines&) = delete;

    bool opened() const { return file_ != nullptr; }
    /// Goes to the next line that holds something; false when there is none.
    bool next();
    /// The line does not fit the buffer: more than 1023 bytes. Its text() must not be used.
    bool too_long() const { return line_.back() != '\0'; }
    const char* text() const { return line_.data(); }
    /// The line's bytes, at most 1024 of them.
    int length() const { return length_; }
    /// The file's path.
    const char* path() const { return path_.c_str(); }
    /// Counts all lines, from 1.
    int number() const { return number_; }
    /// Where a defect was found: "[文件行:path:line][代码行:loader:code_line]".
    std::string place(const char* loader, int code_line) const;
    /// The file will not be closed.
    void leave_open() { file_ = nullptr; }

  private:
    std::string path_;
    std::FILE* file_;
    bool raises_;
    std::array<char, 1024> line_{};
    int length_ = 0;
    bool more_ = true;
    int number_ = 0;
};

// Writing. A writer makes the whole text first, so that a failure on the way leaves the old file.

/// Appends to the text (printf rules).
void Config_Append(std::string& text, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
/// Makes the folder "Z:\FA"; reports on the console when it cannot.
bool Config_Make_Folder(const QSequence& fa);
/// Puts a file of that text in the place of the old one; false when it could not be written whole, and the
/// old one stays. `failed` is the console's message then (a format with %s for the path, once or twice).
bool Config_Write(const QSequence& fa, const char* name, const char* failed, const std::string& text);
/// Makes the folder, then writes the file.
bool Config_Save(const QSequence& fa, const char* name, const char* failed, const std::string& text);

/// Splits `text` at `mark` (Config_White_Space or a character) into the fields; the last one is all that is
/// left. Missing fields are empty. Each field is cut to `limit` bytes.
void Config_Split(std::string text, char mark, std::initializer_list<std::string*> fields,
                  std::size_t limit = 1023);
/// Cuts a field to so many bytes.
void Config_Cut(std::string& field, std::size_t limit);
/// Free text as the tables keep it: CR becomes a blank, double quotes go.
void Config_Clean(std::string& text);

/// The number a text begins with, as atoi and atof read it; 0 without one. An integer beyond int is the
/// nearest int.
int Config_Int(const std::string& text);
double Config_Real(const std::string& text);

}  // namespace Talwen
