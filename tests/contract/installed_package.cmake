# Installs a build, then configures, builds and runs a host project against what was
# installed; with MOVED the installed folder is renamed before the host project sees it.
#   cmake -DBUILD=folder -DWORK=folder -DCONSUMER=folder -DHEADERS=a.h,b.h -DMOVED=OFF
#         -DGENERATOR=Ninja -DBUILD_TYPE=Debug -DCXX=c++ -DCXX_FLAGS= -P this_file
set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})

function(run step)
    execute_process(COMMAND ${ARGN} TIMEOUT 90
        RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${step} failed (${status}):\n${output}")
    endif()
endfunction()

run("install" ${CMAKE_COMMAND} --install ${BUILD} --config ${BUILD_TYPE} --prefix ${prefix})
if(MOVED)
    file(RENAME ${prefix} ${WORK}/moved)
    set(prefix ${WORK}/moved)
endif()

# Exactly the public headers; no private one among them.
string(REPLACE "," ";" expected "${HEADERS}")
list(SORT expected)
file(GLOB_RECURSE found RELATIVE ${prefix}/include/BIZ_Manage ${prefix}/include/BIZ_Manage/*)
list(SORT found)
if(expected STREQUAL "" OR NOT found STREQUAL expected)
    message(FATAL_ERROR "installed headers: ${found}\nexpected: ${expected}")
endif()

run("configuring the host project" ${CMAKE_COMMAND}
    -S ${CONSUMER} -B ${WORK}/build -G ${GENERATOR}
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    -DCMAKE_PREFIX_PATH=${prefix} -DEXPECTED_PREFIX=${prefix})
run("building the host project" ${CMAKE_COMMAND} --build ${WORK}/build --config ${BUILD_TYPE})
run("running the host" ${WORK}/build/consumer)
