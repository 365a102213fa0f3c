# Makes the tarball of the sources and unpacks it; then a project that adds the unpacked folder
# as a part of its own is configured, built and run.
# Given: BUILD_DIR, SCRATCH_DIR, SUBPROJECT_DIR, CONSUMER_DIR, PRECOMPILED, QT, GENERATOR, LAUNCHER, CXX, CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
run(${CMAKE_CPACK_COMMAND} --config ${BUILD_DIR}/CPackSourceConfig.cmake -B ${SCRATCH_DIR}/packages)
file(GLOB tarball ${SCRATCH_DIR}/packages/*.tar.gz)
file(ARCHIVE_EXTRACT INPUT ${tarball} DESTINATION ${SCRATCH_DIR})
get_filename_component(name ${tarball} NAME)
string(REGEX REPLACE "\\.tar\\.gz$" "" name ${name})
set(source ${SCRATCH_DIR}/${name})
foreach(unwanted build .git out)
    if(EXISTS ${source}/${unwanted})
        message(FATAL_ERROR "${unwanted} is in the tarball")
    endif()
endforeach()

set(host ${SCRATCH_DIR}/host)
run(${CMAKE_COMMAND} -S ${SUBPROJECT_DIR} -B ${host} -G ${GENERATOR}
    -DBIZ_SOURCE=${source} -DBIZ_QT=${QT} -DBIZ_PRECOMPILED_HEADERS=${PRECOMPILED} -DCONSUMER_DIR=${CONSUMER_DIR} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${host})
foreach(consumer manage_consumer static_members_consumer host_consumer)
    run(${host}/${consumer})
endforeach()
