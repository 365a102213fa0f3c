# Which Qt the tree is built with: BIZ_QT is 5 or 6. Unless it is given, it is the Qt that the project around has found,
# else the one that is there, and 5 where both are. Targets link Qt${BIZ_QT}::Core and its like.
set(BIZ_QT "" CACHE STRING "The Qt to build with: 5 or 6")
set_property(CACHE BIZ_QT PROPERTY STRINGS 5 6)

set(BIZ_QT5_OLDEST 5.12)
set(BIZ_QT6_OLDEST 6.4)

function(biz_choose_qt result)
    foreach(version 5 6)
        if(TARGET Qt${version}::Core)
            set(${result} ${version} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    foreach(version 5 6)
        find_package(Qt${version}Core ${BIZ_QT${version}_OLDEST} QUIET)
        if(Qt${version}Core_FOUND)
            set(${result} ${version} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    message(FATAL_ERROR
        "BIZ_Manage needs Qt: neither Qt 5 (${BIZ_QT5_OLDEST} or later) nor Qt 6 (${BIZ_QT6_OLDEST} or later) is found")
endfunction()

if(BIZ_QT STREQUAL "")
    biz_choose_qt(chosen)
    set_property(CACHE BIZ_QT PROPERTY VALUE ${chosen})
elseif(NOT BIZ_QT MATCHES "^[56]$")
    message(FATAL_ERROR "BIZ_QT is ${BIZ_QT}; it is 5 or 6")
endif()
set(BIZ_QT_OLDEST ${BIZ_QT${BIZ_QT}_OLDEST})

# What is installed for Qt 6 lies beside what is installed for Qt 5: libraries, folders of headers and pkg-config files
# have BIZ_QT_SUFFIX in their names, and the CMake package is BIZ_PACKAGE.
if(BIZ_QT EQUAL 5)
    set(BIZ_QT_SUFFIX "")
    set(BIZ_PACKAGE BIZ_Manage)
    set(BIZ_OTHER_PACKAGE BIZ_Manage6)
    set(BIZ_OTHER_QT 6)
else()
    set(BIZ_QT_SUFFIX -qt6)
    set(BIZ_PACKAGE BIZ_Manage6)
    set(BIZ_OTHER_PACKAGE BIZ_Manage)
    set(BIZ_OTHER_QT 5)
endif()

# biz_find_qt(component...): a macro, since what a package of Qt tells is told in variables.
macro(biz_find_qt)
    find_package(Qt${BIZ_QT} ${BIZ_QT_OLDEST} REQUIRED COMPONENTS ${ARGN})
endmacro()

biz_find_qt(Core)
message(STATUS "Building with Qt ${Qt${BIZ_QT}Core_VERSION}")
