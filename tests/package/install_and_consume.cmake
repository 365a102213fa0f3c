# Installs the project into a scratch folder, then configures, builds and runs a consumer
# that knows that folder alone. Given: BUILD_DIR, SCRATCH_DIR, CONSUMER_DIR, GENERATOR, CXX, CXX_FLAGS.
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(prefix ${SCRATCH_DIR}/prefix)
set(consumer ${SCRATCH_DIR}/consumer)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}\nended with ${result}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${consumer} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${consumer})
run(${consumer}/manage_consumer)
run(${consumer}/host_consumer)
