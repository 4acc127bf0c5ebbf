// Files, by the controller's own paths (drive letter, backslashes). Any thread.
#pragma once

#include <cstdio>

namespace Talwen {

/// Opens a file; null on failure. What is opened for writing takes its name when it is closed, as a whole.
std::FILE* QFile_Open(const char* path, const char* mode);
/// Closes a file that QFile_Open gave; 0 on success.
int QFile_Close(std::FILE* file);
bool QFile_Check_File_Exist(const char* path);
/// Makes a folder and those above it; true when it exists afterwards.
bool QFile_Create_Folder(const char* path);

}  // namespace Talwen
