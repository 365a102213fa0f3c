# Installs the project into a scratch folder and moves it; then qmake projects find it by
# pkg-config, are built and run.
# Given: BUILD_DIR, SCRATCH_DIR, QMAKE_DIR, QMAKE, LIBDIR, CXX, CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${SCRATCH_DIR}/first)
set(prefix ${SCRATCH_DIR}/moved)
file(RENAME ${SCRATCH_DIR}/first ${prefix})

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
foreach(consumer manage_consumer host_consumer)
    set(build ${SCRATCH_DIR}/${consumer})
    file(MAKE_DIRECTORY ${build})
    run(${CMAKE_COMMAND} -E chdir ${build} ${QMAKE} ${QMAKE_DIR}/${consumer}.pro
        QMAKE_CXX=${CXX} QMAKE_LINK=${CXX} "QMAKE_CXXFLAGS+=${CXX_FLAGS}" "QMAKE_LFLAGS+=${CXX_FLAGS}")
    run(make -C ${build})
    run(${build}/${consumer})
endforeach()
