# fa_options: the flags every target of this project compiles with.
add_library(fa_options INTERFACE)
target_compile_features(fa_options INTERFACE cxx_std_20)
# Installed, all headers share one root; in this tree every target sees its own (FaIncludeWalls.cmake).
target_include_directories(fa_options INTERFACE $<INSTALL_INTERFACE:include/fa_comm>)
# Warnings are errors here, but not for users of the installed libraries.
if(MSVC)
    set(fa_warnings /W4 /WX /utf-8)
else()
    set(fa_warnings -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # g++ 12 sees overlapping copies in inlined std::string operations where there are none (GCC bug 105651).
        list(APPEND fa_warnings -Wno-restrict)
        if(FA_SANITIZE MATCHES thread)
            # Asio's fences, which ThreadSanitizer does not model; everything they order is under a mutex as well.
            list(APPEND fa_warnings -Wno-tsan)
        endif()
    endif()
endif()
target_compile_options(fa_options INTERFACE "$<BUILD_INTERFACE:${fa_warnings}>")
find_package(Threads REQUIRED)
target_link_libraries(fa_options INTERFACE Threads::Threads)

# Applied directory-wide, so that GoogleTest's headers and ours are instrumented alike.
if(FA_SANITIZE)
    add_compile_options(-fsanitize=${FA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${FA_SANITIZE})
endif()

# Third-party libraries, all from the distribution and all header-only (the packaged spdlog and fmt
# binaries are not instrumented, so sanitizer builds could not trust them).
add_library(fa_asio INTERFACE)
# Without the last one, whether Asio allocates by aligned_alloc or by operator new depends on which header a source includes
# first, and one source's inline functions would free what another's allocated.
target_compile_definitions(fa_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED ASIO_DISABLE_STD_ALIGNED_ALLOC)
add_library(fa_spdlog INTERFACE)
target_compile_definitions(fa_spdlog INTERFACE SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
