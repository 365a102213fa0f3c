# The sources, configured and built where only Qt Core is found.
# Given: SOURCE_DIR, SCRATCH_DIR, QT, GENERATOR, LAUNCHER, CXX, CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
set(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR} -G ${GENERATOR} -DBIZ_QT=${QT}
    -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
foreach(package Qt${QT}Network Qt${QT}SerialPort Qt${QT}Widgets GTest)
    list(APPEND configure -DCMAKE_DISABLE_FIND_PACKAGE_${package}=ON)
endforeach()

run(${configure} -B ${SCRATCH_DIR}/build)
run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/build --target BIZ_Manage raw_host)
foreach(unwanted host tools tests)
    if(EXISTS ${SCRATCH_DIR}/build/${unwanted})
        message(FATAL_ERROR "${unwanted} is configured without what it needs")
    endif()
endforeach()

# Who insists on a part is told what is missing.
execute_process(COMMAND ${configure} -B ${SCRATCH_DIR}/insisting -DBIZ_BUILD_HOST=ON
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "Qt${QT}Network|Qt${QT}SerialPort")
    message(FATAL_ERROR "BIZ_BUILD_HOST=ON passed without its packages:\n${output}")
endif()
