# qmake projects find an installation by pkg-config, are built and run.
# Given: PREFIX, SCRATCH_DIR, QMAKE_DIR, QUICK_START_DIR, PLAY, QMAKE, LIBDIR, CXX, CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
set(ENV{LD_LIBRARY_PATH} ${PREFIX}/${LIBDIR})
# build_with_qmake(name project): into a folder of its own.
function(build_with_qmake name project)
    set(build ${SCRATCH_DIR}/${name})
    file(MAKE_DIRECTORY ${build})
    run(${CMAKE_COMMAND} -E chdir ${build} ${QMAKE} ${project}
        QMAKE_CXX=${CXX} QMAKE_LINK=${CXX} "QMAKE_CXXFLAGS+=${CXX_FLAGS}" "QMAKE_LFLAGS+=${CXX_FLAGS}")
    run(make -C ${build})
endfunction()

build_with_qmake(manage_consumer ${QMAKE_DIR}/manage_consumer.pro)
run(${SCRATCH_DIR}/manage_consumer/manage_consumer)

# A first program of one's own: the copied folder, built and played as the README says.
if(QUICK_START_DIR)
    file(COPY ${QUICK_START_DIR}/ DESTINATION ${SCRATCH_DIR}/own)
    build_with_qmake(own_build ${SCRATCH_DIR}/own/quick_start.pro)
    play_quick_start(${PREFIX} ${SCRATCH_DIR}/own_build/quick_start)
endif()
