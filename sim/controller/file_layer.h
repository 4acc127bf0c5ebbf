// The controller's files below one data folder: "Z:\FA\x" is FOLDER/Z/FA/x. Any thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sim {

/// The folder that holds the drives; the current folder at start. Set it only while no other thread runs.
void set_data_folder(const std::filesystem::path& folder);
std::filesystem::path data_folder();

/// Removes what a process that was killed was writing below the data folder ("x.new-PID-N" beside "x"). Only
/// while no other process uses the folder.
void remove_unfinished_files();

/// Where a controller path is: the drive letter (upper case) is a folder of the data folder, '\' and '/'
/// both separate, ".." climbs no higher than the drive. Empty for a path without a drive letter. Bytes of
/// names pass unchanged.
std::filesystem::path map_path(const char* path);

/// Controller paths of the files that QFile_Open opened and that are still open.
std::vector<std::string> open_files();
/// Closes them; what was being written is dropped. Only while the module does not use them any more.
void close_open_files();

}  // namespace sim
