function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\n${output}")
    endif()
endfunction()

set(flags)
if(sanitize)
    set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${sanitize}")
endif()

file(REMOVE_RECURSE ${work})
run(${CMAKE_COMMAND} --install ${build} --prefix ${work}/prefix)
run(${CMAKE_COMMAND} -S ${consumer} -B ${work}/build -G ${generator} -D CMAKE_CXX_COMPILER=${compiler}
    -D CMAKE_PREFIX_PATH=${work}/prefix ${flags})
run(${CMAKE_COMMAND} --build ${work}/build)
run(${work}/build/consumer)
