# What `cpack` makes of a build: Debian packages, one for each component of BizInstall, and
# with `--config CPackSourceConfig.cmake` a tarball of the sources. `scripts/packages` makes all of
# them from nothing.
#
#   libbiz-manage1    the library               libbiz-manage-dev   headers, CMake and pkg-config files
#   libbiz-host1      the host kit              libbiz-host-dev     the same of the host kit
#   biz-tools         biz_console, biz_simulator
#
# Debian's library folder is part of what is built, hence a build for packages is configured
# with -DCMAKE_INSTALL_PREFIX=/usr; BizPackDebian.cmake refuses others.

# Whoever builds the packages signs for them, as for every other Debian package: by DEBFULLNAME
# and DEBEMAIL. Without these the address is one that cannot exist.
set(BIZ_PACKAGER "the libBIZ_Manage authors <authors@libbiz-manage.invalid>")
if(NOT "$ENV{DEBFULLNAME}" STREQUAL "" AND NOT "$ENV{DEBEMAIL}" STREQUAL "")
    set(BIZ_PACKAGER "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME libbiz-manage)
set(CPACK_PACKAGE_VENDOR "the libBIZ_Manage authors")
set(CPACK_PACKAGE_CONTACT ${BIZ_PACKAGER})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)

set(CPACK_GENERATOR DEB)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/BizPackDebian.cmake)
set(CPACK_BIZ_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_BIZ_LIBRARY_ARCHITECTURE ${CMAKE_LIBRARY_ARCHITECTURE})
set(CPACK_BIZ_CONTROL_DIR ${PROJECT_BINARY_DIR}/package_control)
set(CPACK_BIZ_MAJOR ${PROJECT_VERSION_MAJOR})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
# Debian wants 0755 and 0644 whatever the umask is.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What the programs and libraries of other packages need is read from their files; what they
# need of each other is said below, since it is installed nowhere when the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/manage ${PROJECT_BINARY_DIR}/host)

set(BIZ_SAME_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENTS_ALL)

# What Debian wants to find of every package in its folder of documents.
set(biz_package_documents ${PROJECT_BINARY_DIR}/package_documents)
string(TIMESTAMP BIZ_PACKAGED_AT "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${biz_package_documents}/changelog COPYONLY)
configure_file(${PROJECT_SOURCE_DIR}/cmake/changelog.Debian.in ${biz_package_documents}/changelog.Debian @ONLY)
find_program(BIZ_GZIP gzip)
if(BIZ_GZIP)
    execute_process(COMMAND ${BIZ_GZIP} -9nf changelog changelog.Debian WORKING_DIRECTORY ${biz_package_documents})
endif()

function(biz_package_documents component name)
    set(destination ${CMAKE_INSTALL_DATADIR}/doc/${name})
    install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${destination} RENAME copyright
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${biz_package_documents}/changelog.gz ${biz_package_documents}/changelog.Debian.gz
        DESTINATION ${destination} COMPONENT ${component} EXCLUDE_FROM_ALL OPTIONAL)
endfunction()

# biz_package(component name section summary text [what it depends on])
function(biz_package component name section summary text)
    string(TOUPPER ${component} COMPONENT)
    set(depends ${ARGN})
    list(TRANSFORM depends REPLACE "^(libbiz-.*)$" "\\1 ${BIZ_SAME_VERSION}")
    list(JOIN depends ", " depends)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
    biz_package_documents(${component} ${name})
endfunction()

set(BIZ_ABOUT "libBIZ_Manage stands between a host application and a family of display
devices: it queues commands, paces them, guards replies by time and judges
each by the rules of the device's model.
.
This package has")
biz_package(biz_manage libbiz-manage${PROJECT_VERSION_MAJOR} libs
    "business layer for display devices - library"
    "${BIZ_ABOUT} the library.")
biz_package(biz_manage_dev libbiz-manage-dev libdevel
    "business layer for display devices - development files"
    "${BIZ_ABOUT} the headers, the CMake package and the pkg-config file."
    libbiz-manage${PROJECT_VERSION_MAJOR} qtbase5-dev)
if(BIZ_BUILD_HOST)
    biz_package(biz_host libbiz-host${PROJECT_VERSION_MAJOR} libs
        "business layer for display devices - host kit"
        "${BIZ_ABOUT} the host kit: links over TCP, UDP and serial\nlines, tickets and results."
        libbiz-manage${PROJECT_VERSION_MAJOR})
    biz_package(biz_host_dev libbiz-host-dev libdevel
        "business layer for display devices - development files of the kit"
        "${BIZ_ABOUT} the host kit's headers, CMake targets and\npkg-config file."
        libbiz-host${PROJECT_VERSION_MAJOR} libbiz-manage-dev)
endif()
if(BIZ_BUILD_TOOLS)
    biz_package(biz_tools biz-tools utils
        "business layer for display devices - console and simulator"
        "${BIZ_ABOUT} biz_console, which plays sessions against devices,\nand biz_simulator, which plays the devices."
        libbiz-host${PROJECT_VERSION_MAJOR})
endif()

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION})
# Patterns for whole paths: only what lies at the top of this tree may match.
string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" biz_tree ${PROJECT_SOURCE_DIR})
set(CPACK_SOURCE_IGNORE_FILES ^${biz_tree}/build ^${biz_tree}/out/ ^${biz_tree}/\\.git$ ^${biz_tree}/\\.git/ ^${biz_tree}/\\.cache/)

include(CPack)
