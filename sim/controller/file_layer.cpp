#include "sim/controller/file_layer.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "fa/framework/qfile.h"
#include "sim/controller/calls.h"
#include "sim/os.h"
#include "sim/text.h"

namespace sim {

namespace fs = std::filesystem;

namespace {

struct OpenFile {
    std::string path;  // as the controller named it
    fs::path target;   // where it is
    fs::path written;  // what is written instead until the close; empty for a file that is only read
};

std::mutex files_mutex;
std::map<std::FILE*, OpenFile> files;  // guarded by files_mutex
fs::path folder = ".";                 // guarded by files_mutex

bool is_letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

fs::path new_name_beside(const fs::path& target) {
    static std::atomic<unsigned> number{0};
    fs::path name = target;
    name += ".new-" + std::to_string(os::process_id()) + "-" + std::to_string(++number);
    return name;
}

/// True for "x.new-1-2" and its like.
bool is_new_name(const std::string& name) {
    constexpr std::string_view mark = ".new-";
    const std::size_t at = name.rfind(mark);
    if (at == std::string::npos || at == 0) return false;
    const std::string_view numbers = std::string_view(name).substr(at + mark.size());
    const std::size_t dash = numbers.find('-');
    const auto is_number = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return dash != std::string_view::npos && is_number(numbers.substr(0, dash)) &&
           is_number(numbers.substr(dash + 1));
}

std::FILE* open_for_reading(const fs::path& target, const char* mode) {
    std::error_code error;
    if (fs::is_directory(target, error)) {
        errno = EISDIR;
        return nullptr;
    }
    return std::fopen(target.c_str(), mode);
}

/// Opens the new name; what is appended to or updated starts as a copy of the old content.
std::FILE* open_for_writing(const fs::path& target, const fs::path& written, std::string_view mode) {
    std::error_code error;
    const bool exists = fs::exists(target, error);
    if (fs::is_directory(target, error) || (mode.starts_with('r') && !exists)) {
        errno = exists ? EISDIR : ENOENT;
        return nullptr;
    }
    if (!mode.starts_with('w') && exists && !fs::copy_file(target, written, error)) {
        errno = error.value();
        return nullptr;
    }
    return std::fopen(written.c_str(), std::string(mode).c_str());
}

std::FILE* open(const char* path, const char* mode) {
    OpenFile entry{std::string(view(path)), map_path(path), {}};
    if (entry.target.empty() || view(mode).empty()) {
        errno = EINVAL;
        return nullptr;
    }
    const bool writes = std::strpbrk(mode, "wa+") != nullptr;
    if (writes) entry.written = new_name_beside(entry.target);
    std::FILE* file =
        writes ? open_for_writing(entry.target, entry.written, mode) : open_for_reading(entry.target, mode);
    if (file != nullptr) {
        const std::lock_guard lock(files_mutex);
        files.emplace(file, std::move(entry));
    }
    return file;
}

int close(std::FILE* file) {
    OpenFile entry;
    {
        const std::lock_guard lock(files_mutex);
        const auto found = files.find(file);
        if (found == files.end()) {
            errno = EBADF;
            return EOF;
        }
        entry = std::move(found->second);
        files.erase(found);
    }
    if (entry.written.empty()) return std::fclose(file);

    const bool whole = std::ferror(file) == 0 && os::sync_file(file);
    const bool closed = std::fclose(file) == 0;
    std::error_code error;
    if (whole && closed) fs::rename(entry.written, entry.target, error);
    if (!whole || !closed || error) {
        if (error) errno = error.value();
        const int reason = errno;
        fs::remove(entry.written, error);
        errno = reason;
        return EOF;
    }
    os::sync_folder(entry.target.parent_path());
    return 0;
}

}  // namespace

void set_data_folder(const fs::path& path) {
    const std::lock_guard lock(files_mutex);
    folder = path;
}

fs::path data_folder() {
    const std::lock_guard lock(files_mutex);
    return folder;
}

void remove_unfinished_files() {
    const fs::path root = data_folder();
    std::vector<fs::path> unfinished;
    std::error_code error;
    for (char drive = 'A'; drive <= 'Z'; ++drive) {
        fs::recursive_directory_iterator files_below(root / std::string(1, drive), error);
        for (; !error && files_below != fs::end(files_below); files_below.increment(error)) {
            const bool file = files_below->is_regular_file(error);
            if (file && is_new_name(files_below->path().filename().string()))
                unfinished.push_back(files_below->path());
        }
    }
    for (const fs::path& path : unfinished) fs::remove(path, error);
}

fs::path map_path(const char* path) {
    std::string_view rest = view(path);
    if (rest.size() < 2 || !is_letter(rest[0]) || rest[1] != ':') return {};
    const auto letter = static_cast<unsigned char>(rest[0]);
    const fs::path drive = data_folder() / std::string(1, static_cast<char>(letter & 0xDFU));
    rest.remove_prefix(2);
    std::vector<std::string_view> names;
    while (!rest.empty()) {
        const std::string_view name = rest.substr(0, rest.find_first_of("\\/"));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (name == "..") {
            if (!names.empty()) names.pop_back();
        } else if (!name.empty() && name != ".") {
            names.push_back(name);
        }
    }
    fs::path mapped = drive;
    for (const std::string_view name : names) mapped /= name;
    return mapped;
}

std::vector<std::string> open_files() {
    const std::lock_guard lock(files_mutex);
    std::vector<std::string> paths;
    paths.reserve(files.size());
    for (const auto& [file, entry] : files) paths.push_back(entry.path);
    return paths;
}

void close_open_files() {
    const std::lock_guard lock(files_mutex);
    for (const auto& [file, entry] : files) {
        std::fclose(file);
        std::error_code error;
        if (!entry.written.empty()) fs::remove(entry.written, error);
    }
    files.clear();
}

}  // namespace sim

namespace Talwen {

SIM_READ(QFile_Open)
std::FILE* QFile_Open(const char* path, const char* mode) {
    sim::note(Op::QFile_Open, std::string(sim::view(path)) + " " + std::string(sim::view(mode)));
    return sim::open(path, mode);
}

SIM_READ(QFile_Close)
int QFile_Close(std::FILE* file) {
    sim::count(Op::QFile_Close);
    return sim::close(file);
}

SIM_READ(QFile_Check_File_Exist)
bool QFile_Check_File_Exist(const char* path) {
    sim::count(Op::QFile_Check_File_Exist);
    std::error_code error;
    const auto mapped = sim::map_path(path);
    return !mapped.empty() && std::filesystem::is_regular_file(mapped, error);
}

SIM_READ(QFile_Create_Folder)
bool QFile_Create_Folder(const char* path) {
    sim::count(Op::QFile_Create_Folder);
    const auto mapped = sim::map_path(path);
    std::error_code error;
    if (!mapped.empty()) std::filesystem::create_directories(mapped, error);
    if (mapped.empty()) error = std::make_error_code(std::errc::invalid_argument);
    if (!error && !std::filesystem::is_directory(mapped, error))
        error = std::make_error_code(std::errc::not_a_directory);
    errno = error.value();  // the caller prints the system's error text
    return !error;
}

}  // namespace Talwen
