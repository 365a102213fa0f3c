# Configures the project for folders that are installed to, relative and absolute, and asks pkg-config
# where the libraries and headers are. Given: SOURCE_DIR, SCRATCH_DIR, QT, SUFFIX, GENERATOR, PKG_CONFIG, CXX.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(ENV{PKG_CONFIG_ALLOW_SYSTEM_LIBS} 1)
set(ENV{PKG_CONFIG_ALLOW_SYSTEM_CFLAGS} 1)

# expect_flags(folder what expected): what pkg-config says of the kit's file in that folder.
function(expect_flags folder what expected)
    set(ENV{PKG_CONFIG_PATH} ${folder})
    foreach(package BIZ_Manage${SUFFIX} BIZ_Host${SUFFIX})
        execute_process(COMMAND ${PKG_CONFIG} --variable=${what} ${package} TIMEOUT 20
            RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors OUTPUT_STRIP_TRAILING_WHITESPACE)
        get_filename_component(output "${output}" REALPATH)
        if(NOT result EQUAL 0 OR NOT output STREQUAL expected)
            message(SEND_ERROR "${what} of ${package} is ${output} ${errors}, expected ${expected}")
        endif()
    endforeach()
endfunction()

# configured(name libdir includedir): the folder of the files made for these.
function(configured name libdir includedir)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${SCRATCH_DIR}/${name} -G ${GENERATOR} -DBIZ_QT=${QT} -DCMAKE_CXX_COMPILER=${CXX}
        -DCMAKE_INSTALL_PREFIX=/opt/pkg-config-test -DCMAKE_INSTALL_LIBDIR=${libdir} -DCMAKE_INSTALL_INCLUDEDIR=${includedir}
        -DBIZ_BUILD_TOOLS=OFF -DBIZ_BUILD_EXAMPLES=OFF -DBIZ_BUILD_TESTS=OFF)
endfunction()

# Where it was installed, however deep the folder.
configured(relative lib/machine include)
set(moved ${SCRATCH_DIR}/moved)
file(MAKE_DIRECTORY ${moved}/lib/machine/pkgconfig)
file(COPY ${SCRATCH_DIR}/relative/BIZ_Manage${SUFFIX}.pc ${SCRATCH_DIR}/relative/BIZ_Host${SUFFIX}.pc
    DESTINATION ${moved}/lib/machine/pkgconfig)
expect_flags(${moved}/lib/machine/pkgconfig libdir ${moved}/lib/machine)
expect_flags(${moved}/lib/machine/pkgconfig includedir ${moved}/include)

configured(absolute /srv/pkg-config-test/lib /srv/pkg-config-test/include)
expect_flags(${SCRATCH_DIR}/absolute libdir /srv/pkg-config-test/lib)
expect_flags(${SCRATCH_DIR}/absolute includedir /srv/pkg-config-test/include)

configured(mixed /srv/pkg-config-test/lib include)
expect_flags(${SCRATCH_DIR}/mixed libdir /srv/pkg-config-test/lib)
expect_flags(${SCRATCH_DIR}/mixed includedir /opt/pkg-config-test/include)
