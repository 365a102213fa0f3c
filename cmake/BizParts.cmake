# Which parts are built: each has an option that is ON, OFF or AUTO. An AUTO part is left out,
# with a message, where a package that it needs is missing: the library asks for Qt Core alone,
# whatever the host kit or the tests want.

# biz_part(OPTION DEFAULT DESCRIPTION [NEED...]) resolves OPTION to ON or OFF; a need is a package or
# another part's option.
function(biz_part option default description)
    set(${option} ${default} CACHE STRING "Build ${description}: ON, OFF, or AUTO (where it can be)")
    set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
    if(NOT ${option} STREQUAL "AUTO")
        return()
    endif()
    foreach(need IN LISTS ARGN)
        if(NOT need MATCHES "^BIZ_BUILD_")
            find_package(${need} QUIET)
        endif()
        if(NOT ${need}_FOUND AND NOT ${need})
            message(STATUS "Not building ${description}: ${need} is missing (${option}=ON insists)")
            set(${option} OFF PARENT_SCOPE)
            return()
        endif()
    endforeach()
    set(${option} ON PARENT_SCOPE)
endfunction()
