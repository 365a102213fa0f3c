# Headers under include/BIZ_Manage/<module>/ and include/BIZ_Host/host/, the libraries, and
# a CMake package, so that a host writes find_package(BIZ_Manage) and links BIZ::Manage, or
# adds COMPONENTS Host and links BIZ::Host.
include(CMakePackageConfigHelpers)

set(BIZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/BIZ_Manage)

install(TARGETS BIZ_Manage
    EXPORT BIZ_ManageTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

foreach(header IN LISTS BIZ_MANAGE_PUBLIC_HEADERS)
    get_filename_component(module ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/src/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BIZ_Manage/${module})
endforeach()

install(EXPORT BIZ_ManageTargets
    NAMESPACE BIZ::
    DESTINATION ${BIZ_CMAKE_DIR})

if(BIZ_BUILD_HOST)
    # A set of targets of its own: who links BIZ::Manage alone needs no Qt Network.
    install(TARGETS BIZ_Host
        EXPORT BIZ_HostTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    foreach(header IN LISTS BIZ_HOST_PUBLIC_HEADERS)
        install(FILES ${PROJECT_SOURCE_DIR}/host/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BIZ_Host/host)
    endforeach()
    install(EXPORT BIZ_HostTargets
        NAMESPACE BIZ::
        DESTINATION ${BIZ_CMAKE_DIR})
endif()

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/BIZ_ManageConfig.cmake.in
    ${PROJECT_BINARY_DIR}/BIZ_ManageConfig.cmake
    INSTALL_DESTINATION ${BIZ_CMAKE_DIR})
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/BIZ_ManageConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/BIZ_ManageConfig.cmake
    ${PROJECT_BINARY_DIR}/BIZ_ManageConfigVersion.cmake
    DESTINATION ${BIZ_CMAKE_DIR})
