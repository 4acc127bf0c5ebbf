// Line reader for the configuration files.
#pragma once

#include <cstdio>

namespace Talwen {

/// Reads one line into a 1024-byte buffer, without its line end (LF or CRLF). `*length` is the line's length,
/// and 0 for lines that are blank or begin with '#'. A line of 1024 bytes or more fills the buffer to its
/// last byte (no NUL); the rest of it is dropped. False once the end of the file is reached; the line that
/// was read by that call may still hold text.
bool QAnal_Get_Line_String_From_File(std::FILE* file, char* line, int* length);
/// The same with a buffer of `size` bytes; lines that begin with '#' are skipped alike.
bool QAnal_Get_Line_String_From_File2(std::FILE* file, char* line, int size, int* length);

}  // namespace Talwen
