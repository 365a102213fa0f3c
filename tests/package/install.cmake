# Installs the project into one scratch folder, and into another that is renamed behind it.
# Given: BUILD_DIR, SCRATCH_DIR, HEADERS (by commas).
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(REMOVE_RECURSE ${SCRATCH_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${SCRATCH_DIR}/installed)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${SCRATCH_DIR}/before)
file(RENAME ${SCRATCH_DIR}/before ${SCRATCH_DIR}/moved)

# Exactly the public headers; no private one among them.
string(REPLACE "," ";" expected "${HEADERS}")
list(SORT expected)
file(GLOB_RECURSE found RELATIVE ${SCRATCH_DIR}/installed/include ${SCRATCH_DIR}/installed/include/*)
list(SORT found)
if(expected STREQUAL "" OR NOT found STREQUAL expected)
    message(FATAL_ERROR "installed headers: ${found}\nexpected: ${expected}")
endif()
