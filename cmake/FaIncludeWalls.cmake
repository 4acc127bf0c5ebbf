# Include walls: a target's sources find only their own folder and those of the libraries they link, so that a forbidden
# #include does not compile. Each library has an include root of links to what it exposes.

# fa_exposes(target path...): `target`, and who links it, may include "path/..."; a path is a folder or one header.
function(fa_exposes target)
    set(root "${PROJECT_BINARY_DIR}/include/${target}")
    foreach(path IN LISTS ARGN)
        cmake_path(GET path PARENT_PATH parent)
        file(MAKE_DIRECTORY "${root}/${parent}")
        file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${path}" "${root}/${path}" SYMBOLIC)
    endforeach()
    get_target_property(type ${target} TYPE)
    set(scope PUBLIC)
    if(type STREQUAL INTERFACE_LIBRARY)
        set(scope INTERFACE)
    elseif(type STREQUAL EXECUTABLE)
        set(scope PRIVATE)
    endif()
    target_include_directories(${target} ${scope} "$<BUILD_INTERFACE:${root}>")
endfunction()
