# Installs the project into a scratch folder, then configures, builds and runs hosts that know that
# folder alone; with MOVED the folder is renamed before they see it.
# Given: BUILD_DIR, SCRATCH_DIR, CONSUMER_DIR, QUICK_START_DIR, PLAY, HEADERS (by commas), MOVED, GENERATOR, CXX, CXX_FLAGS.
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(prefix ${SCRATCH_DIR}/prefix)
set(consumer ${SCRATCH_DIR}/consumer)

include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
if(MOVED)
    file(RENAME ${prefix} ${SCRATCH_DIR}/moved)
    set(prefix ${SCRATCH_DIR}/moved)
endif()

# Exactly the public headers; no private one among them.
string(REPLACE "," ";" expected "${HEADERS}")
list(SORT expected)
file(GLOB_RECURSE found RELATIVE ${prefix}/include ${prefix}/include/*)
list(SORT found)
if(expected STREQUAL "" OR NOT found STREQUAL expected)
    message(FATAL_ERROR "installed headers: ${found}\nexpected: ${expected}")
endif()

set(configure ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DEXPECTED_PREFIX=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${configure} -B ${consumer})
run(${configure} -B ${SCRATCH_DIR}/without_network -DCMAKE_DISABLE_FIND_PACKAGE_Qt5Network=ON)
run(${CMAKE_COMMAND} --build ${consumer})
foreach(host manage_consumer static_members_consumer host_consumer)
    run(${consumer}/${host})
endforeach()

# A first program of one's own: the copied folder, built and played as the README says.
if(QUICK_START_DIR)
    file(COPY ${QUICK_START_DIR}/ DESTINATION ${SCRATCH_DIR}/own)
    run(${CMAKE_COMMAND} -S ${SCRATCH_DIR}/own -B ${SCRATCH_DIR}/own/build -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
    run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/own/build)
    play_quick_start(${prefix} ${SCRATCH_DIR}/own/build/quick_start)
endif()
