# A host that mixes the two Qts is told so: by the CMake package, and by the headers.
# Given: PREFIX, SCRATCH_DIR, MIXED_DIR, PACKAGE, OTHER_QT, INCLUDE and QT_INCLUDE (by commas), GENERATOR, CXX.
file(REMOVE_RECURSE ${SCRATCH_DIR})
file(MAKE_DIRECTORY ${SCRATCH_DIR})

# expect_refusal(sentence command...)
function(expect_refusal sentence)
    execute_process(COMMAND ${ARGN} TIMEOUT 120 RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    string(REGEX REPLACE "[ \n]+" " " output "${output}")
    if(result EQUAL 0 OR NOT output MATCHES "${sentence}")
        message(SEND_ERROR "expected '${sentence}', got ${result}: ${output}")
    endif()
endfunction()

expect_refusal("${PACKAGE} is for Qt [56], and this project has found BIZ_Manage6?, which is for Qt ${OTHER_QT}"
    ${CMAKE_COMMAND} -S ${MIXED_DIR} -B ${SCRATCH_DIR}/mixed -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_PREFIX_PATH=${PREFIX} -DBIZ_PACKAGE=${PACKAGE} -DOTHER_QT=${OTHER_QT})

string(REPLACE "," ";" folders "${QT_INCLUDE}")
list(TRANSFORM folders PREPEND -I)
file(WRITE ${SCRATCH_DIR}/mixed.cpp "#include <manage/biz_manage.h>\n")
set(compile ${CXX} -std=c++17 -fsyntax-only -fPIC -I${PREFIX}/include/${INCLUDE} ${folders})
expect_refusal("this program mixes Qt 5 and Qt 6" ${compile} -DBIZ_MANAGE_QT=${OTHER_QT} ${SCRATCH_DIR}/mixed.cpp)
execute_process(COMMAND ${compile} ${SCRATCH_DIR}/mixed.cpp TIMEOUT 120 RESULT_VARIABLE result ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
    message(SEND_ERROR "without a mixture it does not compile either: ${errors}")
endif()
