# Installs the project into a scratch folder, then configures, builds and runs a consumer
# that knows that folder alone. Given: BUILD_DIR, SCRATCH_DIR, CONSUMER_DIR, GENERATOR, CXX, CXX_FLAGS.
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(prefix ${SCRATCH_DIR}/prefix)
set(consumer ${SCRATCH_DIR}/consumer)

include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${consumer} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${consumer})
run(${consumer}/manage_consumer)
run(${consumer}/host_consumer)
