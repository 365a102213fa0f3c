# Compiles each header in a source of its own, before and after itself, with the warnings
# that a strict host may use. The Qt headers are system headers to it, as to any host.
#   cmake -DCXX=c++ -DSTANDARD=11 -DHEADERS=a.h,b.h -DINCLUDE=src,. -DQT_INCLUDE=x,y
#         -DWORK=folder -P this_file
string(REPLACE "," ";" headers "${HEADERS}")
string(REPLACE "," ";" qtFolders "${QT_INCLUDE}")
string(REPLACE "," ";" folders "${INCLUDE}")
list(TRANSFORM folders PREPEND -I)
if(headers STREQUAL "" OR qtFolders STREQUAL "")
    message(FATAL_ERROR "no headers or no Qt folders given")
endif()
set(system)
foreach(folder IN LISTS qtFolders)
    list(APPEND system -isystem ${folder})
endforeach()

set(failed "")
foreach(header IN LISTS headers)
    string(MAKE_C_IDENTIFIER ${header} name)
    set(source ${WORK}/${name}_cxx${STANDARD}.cpp)
    file(WRITE ${source} "#include <${header}>\n#include <${header}>\n")
    execute_process(
        COMMAND ${CXX} -std=c++${STANDARD} -fsyntax-only -fPIC -DQT_NO_KEYWORDS
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror ${folders} ${system} ${source}
        RESULT_VARIABLE status ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        string(APPEND failed "\n<${header}> does not compile alone as C++${STANDARD}:\n${errors}")
    endif()
endforeach()
if(NOT failed STREQUAL "")
    message(FATAL_ERROR "${failed}")
endif()
