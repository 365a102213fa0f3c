# Configures, builds and runs hosts that know the folder of an installation alone.
# Given: PREFIX, SCRATCH_DIR, CONSUMER_DIR, PACKAGE, QT, QUICK_START_DIR, PLAY, TESTED_APPLICATION_DIR, GENERATOR, CXX, CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(consumer ${SCRATCH_DIR}/consumer)

set(configure ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${PREFIX} -DEXPECTED_PREFIX=${PREFIX} -DBIZ_PACKAGE=${PACKAGE} -DBIZ_NETWORK=Qt${QT}Network
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${configure} -B ${consumer})
run(${configure} -B ${SCRATCH_DIR}/without_network -DCMAKE_DISABLE_FIND_PACKAGE_Qt${QT}Network=ON)
run(${CMAKE_COMMAND} --build ${consumer})
foreach(host manage_consumer static_members_consumer host_consumer)
    run(${consumer}/${host})
endforeach()

# A first program of one's own: the copied folder, built and played as the README says.
if(QUICK_START_DIR)
    file(COPY ${QUICK_START_DIR}/ DESTINATION ${SCRATCH_DIR}/own)
    run(${CMAKE_COMMAND} -S ${SCRATCH_DIR}/own -B ${SCRATCH_DIR}/own/build -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
    run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/own/build)
    play_quick_start(${PREFIX} ${SCRATCH_DIR}/own/build/quick_start)
endif()

# An application with tests of its own, in virtual time.
if(TESTED_APPLICATION_DIR)
    file(COPY ${TESTED_APPLICATION_DIR}/ DESTINATION ${SCRATCH_DIR}/tested)
    run(${CMAKE_COMMAND} -S ${SCRATCH_DIR}/tested -B ${SCRATCH_DIR}/tested/build -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
    run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/tested/build)
    run(${SCRATCH_DIR}/tested/build/dimmer_test)
endif()
