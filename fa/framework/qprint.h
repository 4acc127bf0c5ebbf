// Console print: one coloured line per call, printf rules. Any thread.
#pragma once

#include "fa/framework/printf_format.h"

namespace Talwen {

void QPrint(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
void QPrint_Red(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
void QPrint_Green(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
void QPrint_Yellow(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
void QPrint_Blue(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);
void QPrint_Cyan(const char* tag, const char* format, ...) FA_PRINTF_FORMAT(2, 3);

}  // namespace Talwen
