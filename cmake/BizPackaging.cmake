# What `cpack` makes of a build: Debian packages, one for each component of BizInstall, and
# with `--config CPackSourceConfig.cmake` a tarball of the sources.
#
#   libbiz-manage1    the library               libbiz-manage-dev   headers, CMake and pkg-config files
#   libbiz-host1      the host kit              libbiz-host-dev     the same of the host kit
#   biz-tools         biz_console, biz_simulator

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME libbiz-manage)
set(CPACK_PACKAGE_VENDOR "the libBIZ_Manage authors")
set(CPACK_PACKAGE_CONTACT "the libBIZ_Manage authors <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
# What the programs and libraries of other packages need is read from their files; what they
# need of each other is said below, since it is installed nowhere when the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/manage ${PROJECT_BINARY_DIR}/host)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(BIZ_SAME_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENTS_ALL)

# biz_package(COMPONENT name section text [what it depends on])
function(biz_package component name section text)
    string(TOUPPER ${component} COMPONENT)
    set(depends ${ARGN})
    list(TRANSFORM depends REPLACE "^(libbiz-.*)$" "\\1 ${BIZ_SAME_VERSION}")
    list(JOIN depends ", " depends)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${COMPONENT}_DESCRIPTION ${text} PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

biz_package(biz_manage libbiz-manage${PROJECT_VERSION_MAJOR} libs "The library.")
biz_package(biz_manage_dev libbiz-manage-dev libdevel "Headers, CMake package and pkg-config file of the library."
    libbiz-manage${PROJECT_VERSION_MAJOR} qtbase5-dev)
if(BIZ_BUILD_HOST)
    biz_package(biz_host libbiz-host${PROJECT_VERSION_MAJOR} libs "The host kit."
        libbiz-manage${PROJECT_VERSION_MAJOR})
    biz_package(biz_host_dev libbiz-host-dev libdevel "Headers, CMake targets and pkg-config file of the host kit."
        libbiz-host${PROJECT_VERSION_MAJOR} libbiz-manage-dev)
endif()
if(BIZ_BUILD_TOOLS)
    biz_package(biz_tools biz-tools utils "Console and device simulator."
        libbiz-host${PROJECT_VERSION_MAJOR})
endif()

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION})
# Patterns for whole paths: only what lies at the top of this tree may match.
string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" biz_tree ${PROJECT_SOURCE_DIR})
set(CPACK_SOURCE_IGNORE_FILES ^${biz_tree}/build ^${biz_tree}/out/ ^${biz_tree}/\\.git$ ^${biz_tree}/\\.git/ ^${biz_tree}/\\.cache/)

include(CPack)
