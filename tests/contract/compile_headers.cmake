# Compiles headers, before and after themselves, with the warnings that a strict host may use: Alone each in a source of
# its own, Together all in one. The Qt headers are system headers to them, as to any host.
#   cmake -DHOW=Alone -DCXX=c++ -DSTANDARD=11 -DHEADERS=a.h,b.h -DINCLUDE=src,. -DQT_INCLUDE=x,y
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

# compile(what includes): adds to failed what the compiler says.
function(compile what includes)
    string(MAKE_C_IDENTIFIER ${what} name)
    set(source ${WORK}/${name}_cxx${STANDARD}.cpp)
    file(WRITE ${source} "${includes}${includes}")
    execute_process(
        COMMAND ${CXX} -std=c++${STANDARD} -fsyntax-only -fPIC -DQT_NO_KEYWORDS
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror ${folders} ${system} ${source}
        RESULT_VARIABLE status ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        set(failed "${failed}\n<${what}> does not compile as C++${STANDARD}:\n${errors}" PARENT_SCOPE)
    endif()
endfunction()

set(failed "")
if(HOW STREQUAL "Alone")
    foreach(header IN LISTS headers)
        compile(${header} "#include <${header}>\n")
    endforeach()
else()
    list(TRANSFORM headers REPLACE "(.+)" "#include <\\1>\n")
    list(JOIN headers "" includes)
    compile(all_headers "${includes}")
endif()
if(NOT failed STREQUAL "")
    message(FATAL_ERROR "${failed}")
endif()
