# Doubles the first row of a table of the library and expects the compiler to refuse it.
#   cmake -DCXX=c++ -DTABLE=table_a2.cpp -DINCLUDE=src -DWORK=folder -P this_file
file(READ ${TABLE} text)
string(REGEX MATCH "\n    Row{[^\n]*}," row "${text}")
if(row STREQUAL "")
    message(FATAL_ERROR "${TABLE}: no row found")
endif()
string(REPLACE "${row}" "${row}${row}" doubled "${text}")

get_filename_component(name ${TABLE} NAME)
file(WRITE ${WORK}/as_it_is_${name} "${text}")
file(WRITE ${WORK}/doubled_${name} "${doubled}")

function(compile file result errors)
    execute_process(
        COMMAND ${CXX} -std=c++17 -fsyntax-only -I${INCLUDE} ${WORK}/${file}
        RESULT_VARIABLE status ERROR_VARIABLE text OUTPUT_QUIET)
    set(${result} ${status} PARENT_SCOPE)
    set(${errors} "${text}" PARENT_SCOPE)
endfunction()

compile(as_it_is_${name} status errors)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${name} does not compile even as it is:\n${errors}")
endif()

compile(doubled_${name} status errors)
if(status EQUAL 0)
    message(FATAL_ERROR "${name} compiles although two rows claim the same sub-code:${row}")
endif()
if(NOT errors MATCHES "static[_ ]assert[^\n]*" OR NOT errors MATCHES "noSubCodeTwice")
    message(FATAL_ERROR "${name} is refused, but not because a sub-code is claimed twice:\n${errors}")
endif()
