# Lists the module's undefined symbols and fails on one that no seam declares.
string(REPLACE "|" ";" objects "${objects}")
execute_process(COMMAND ${nm} --undefined-only --no-sort -C ${objects} OUTPUT_VARIABLE undefined RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${nm} failed")
endif()
execute_process(COMMAND ${nm} --defined-only -C ${objects} OUTPUT_VARIABLE defined)

set(allowed
    "Talwen::QSeqCon::Q"            # the controller interface
    "Talwen::QSequence::"
    "typeinfo for Talwen::QSequence"
    "Talwen::QPrint[_(]" "Talwen::Q(Time|File|Anal|Str|DB)_"
    "Talwen::(Secs|OnlineLog)"      # the SECS driver
    "(CreateEventA|SetEvent|WaitForSingleObject|CloseHandle|InitializeCriticalSection|EnterCriticalSection|LeaveCriticalSection)\\("
    "(GetLocalTime|SetLocalTime|OpenProcessToken|GetCurrentProcess|LookupPrivilegeValueA|AdjustTokenPrivileges)\\("
    "std::" "operator (new|delete)" "__cxa_" "__gxx_personality" "_Unwind_" "vtable for (std|__cxxabiv1)" "typeinfo for (std|int)"
    "__(once_call|libc_single_threaded|tls_get_addr|stack_chk_fail|dso_handle|once_proxy|cxxabiv1|gthrw|memcpy_chk|v?snprintf_chk|printf_chk|isoc.*strto|errno_location)"
    "_GLOBAL_OFFSET_TABLE_" "pthread_"
    " (mem(cpy|move|set|cmp|chr)|bcmp|str(len|cmp|ncmp|chr|cspn|spn|tol|tod)|v?snprintf|fwrite|abort|floor)$")

set(unexpected "")
string(REPLACE "\n" ";" lines "${undefined}")
foreach(line IN LISTS lines)
    if(NOT line MATCHES "^ +[Uw] (.*)$")
        continue()
    endif()
    set(symbol "${CMAKE_MATCH_1}")
    string(FIND "${defined}" "${symbol}" own)
    if(NOT own EQUAL -1)
        continue()
    endif()
    set(known FALSE)
    foreach(pattern IN LISTS allowed)
        if(" ${symbol}" MATCHES "${pattern}")
            set(known TRUE)
        endif()
    endforeach()
    if(NOT known)
        list(APPEND unexpected "${symbol}")
    endif()
endforeach()
if(unexpected)
    list(REMOVE_DUPLICATES unexpected)
    list(JOIN unexpected "\n  " text)
    message(FATAL_ERROR "the module needs more than its seams:\n  ${text}")
endif()
