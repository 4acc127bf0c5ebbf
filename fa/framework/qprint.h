// Console print: one coloured line per call, printf rules. Any thread.
#pragma once

#include "fa/framework/framework_types.h"

namespace Talwen {

void QPrint(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);
void QPrint_Red(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);
void QPrint_Green(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);
void QPrint_Yellow(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);
void QPrint_Blue(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);
void QPrint_Cyan(const char* tag, const char* format, ...) FA_PRINTF_FUNCTION(2, 3);

}  // namespace Talwen
