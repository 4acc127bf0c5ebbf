cmake_minimum_required(VERSION 3.25)
# Reads every #include of the tree and fails on one in a direction that the rooms do not allow. What a target may see is
# a matter of its include roots (cmake/FaIncludeWalls.cmake); here is what the compiler cannot see: directions inside
# fa/, other people's headers, and the operating system's.
#
# One row a room: files it holds | folders of this tree it may include | headers in <> beside the standard library's.
set(rooms
    "fa/framework/*  | fa/framework"
    "fa/secs/*       | fa/framework fa/secs winapi"
    "fa/config/*     | fa/framework fa/secs fa/config fa/module/bc_fa.h"
    "fa/handlers/*   | fa/framework fa/secs fa/config fa/handlers fa/module/bc_fa.h fa/module/point_table.h fa/module/handler_routes.h winapi"
    "fa/events/*     | fa/framework fa/secs fa/config fa/events fa/module/bc_fa.h fa/module/point_table.h"
    "fa/module/*     | fa"
    "winapi/*        | winapi | windows.h"
    "hsms/core/*     | hsms/core"
    "hsms/link/*     | hsms/core hsms/link | asio/"
    "hsms/log/*      | hsms/log"
    "hsms/driver/*   | hsms fa/secs/secs_driver.h fa/secs/secs_item.h | malloc.h"
    "sim/os_*        | sim/os.h | .+"
    "sim/*           | sim fa/framework winapi | toml\\+\\+/"
    "sml/*           | sml hsms/core"
    "apps/host/*     | apps/host hsms/core hsms/link hsms/log sml | CLI/ fmt/ spdlog/"
    "apps/equipment/*| apps/equipment sim hsms/driver hsms/link hsms/log fa | CLI/"
)

set(standard "[a-z_]+|c[a-z]+")
set(faults "")
set(read "")
foreach(room IN LISTS rooms)
    string(REGEX REPLACE "[ ]*[|][ ]*" ";" room "${room}|")
    list(GET room 0 files)
    list(GET room 1 folders)
    list(GET room 2 foreign)
    string(REPLACE " " ";" folders "${folders}")
    string(REPLACE " " ";" foreign "${foreign}")
    file(GLOB_RECURSE paths RELATIVE "${source}" "${source}/${files}.h" "${source}/${files}.cpp" "${source}/${files}.def")
    list(REMOVE_ITEM paths ${read} "")
    if(NOT paths)
        list(APPEND faults "${files}: a room without files")
    endif()
    list(APPEND read ${paths})
    foreach(path IN LISTS paths)
        file(STRINGS "${source}/${path}" lines REGEX "^#[ ]*include")
        foreach(line IN LISTS lines)
            set(allowed FALSE)
            if(line MATCHES "\"(.*)\"")
                set(header "${CMAKE_MATCH_1}")
                foreach(folder IN LISTS folders)
                    if("${header}" STREQUAL "${folder}" OR "${header}" MATCHES "^${folder}/")
                        set(allowed TRUE)
                    endif()
                endforeach()
            elseif(line MATCHES "<(.*)>")
                set(header "${CMAKE_MATCH_1}")
                if("${header}" MATCHES "^(${standard})$")
                    set(allowed TRUE)
                endif()
                foreach(pattern IN LISTS foreign)
                    if("${header}" MATCHES "^${pattern}")
                        set(allowed TRUE)
                    endif()
                endforeach()
            endif()
            if(NOT allowed)
                list(APPEND faults "${path}: ${line}")
            endif()
        endforeach()
    endforeach()
endforeach()

list(LENGTH read count)
if(faults)
    list(JOIN faults "\n  " text)
    message(FATAL_ERROR "includes in a forbidden direction:\n  ${text}")
endif()
message(STATUS "${count} files, every include in an allowed direction")
