# Read by cpack before it makes packages of any kind.
cmake_policy(VERSION 3.16)
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

if(NOT CPACK_BIZ_LIBDIR STREQUAL "lib/${CPACK_BIZ_LIBRARY_ARCHITECTURE}")
    message(FATAL_ERROR "Debian's libraries lie in lib/${CPACK_BIZ_LIBRARY_ARCHITECTURE} and this build's in "
        "${CPACK_BIZ_LIBDIR}: use scripts/packages, or configure with -DCMAKE_INSTALL_PREFIX=/usr")
endif()

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/BizPackManuals.cmake)

# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

# What dpkg is told of a library: which symbol came with which version, since a package that is
# built against it asks for the version of the newest symbol that it uses; all are of this version
# so far. And that the loader's cache is to be renewed.
# biz_control_files(COMPONENT package name_of_the_library file)
function(biz_control_files COMPONENT package name library)
    set(folder ${CPACK_BIZ_CONTROL_DIR}/${package})
    file(MAKE_DIRECTORY ${folder})
    execute_process(
        COMMAND dpkg-gensymbols -q -c0 -v${CPACK_PACKAGE_VERSION} -p${package} -e${library} -O${folder}/symbols
        RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "dpkg-gensymbols cannot list the symbols of ${library}: ${errors}")
    endif()
    file(WRITE ${folder}/shlibs "${name} ${CPACK_BIZ_MAJOR} ${package} (>= ${CPACK_PACKAGE_VERSION})\n")
    file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA
        ${folder}/symbols ${folder}/shlibs ${folder}/triggers PARENT_SCOPE)
endfunction()

list(GET CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS 0 manage)
list(GET CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS 1 host)
biz_control_files(BIZ_MANAGE libbiz-manage${CPACK_BIZ_MAJOR} libBIZ_Manage
    ${manage}/libBIZ_Manage.so.${CPACK_PACKAGE_VERSION})
if("biz_host" IN_LIST CPACK_COMPONENTS_ALL)
    biz_control_files(BIZ_HOST libbiz-host${CPACK_BIZ_MAJOR} libBIZ_Host
        ${host}/libBIZ_Host.so.${CPACK_PACKAGE_VERSION})
endif()
