// Lets the compiler hold the arguments of a printf-like function against its format.
#pragma once

/// The positions of the format and of the first argument after it, from 1; a member function's first
/// parameter is 2.
#if defined(__GNUC__)
#define FA_PRINTF_FORMAT(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#else
#define FA_PRINTF_FORMAT(format_index, first_argument)
#endif
