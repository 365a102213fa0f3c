# Headers under include/BIZ_Manage/<module>/ and include/BIZ_Host/host/, the libraries, and
# a CMake package, so that a host writes find_package(BIZ_Manage) and links BIZ::Manage, or
# adds COMPONENTS Host and links BIZ::Host, or COMPONENTS TestKit for its tests and BIZ::TestKit; the
# same three for pkg-config; the tools. What is built with Qt 6 has names of its own (see BizQt.cmake), and the same targets.
include(CMakePackageConfigHelpers)

set(BIZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${BIZ_PACKAGE})

# The file's prefix is told from where the file is, so that an installation can be moved; one
# that was given an absolute folder for its libraries is where it is.
function(biz_install_pkg_config name component)
    if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
        set(BIZ_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
    else()
        file(RELATIVE_PATH toPrefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
        string(REGEX REPLACE "/$" "" toPrefix ${toPrefix})
        set(BIZ_PC_PREFIX "\${pcfiledir}/${toPrefix}")
    endif()
    foreach(folder LIBDIR INCLUDEDIR)
        set(BIZ_PC_${folder} ${CMAKE_INSTALL_${folder}})
        if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_${folder}})
            set(BIZ_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
        endif()
    endforeach()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in
        ${PROJECT_BINARY_DIR}/${name}${BIZ_QT_SUFFIX}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}${BIZ_QT_SUFFIX}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT ${component})
endfunction()

install(TARGETS BIZ_Manage
    EXPORT BIZ_ManageTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT biz_manage NAMELINK_COMPONENT biz_manage_dev)

foreach(header IN LISTS BIZ_MANAGE_PUBLIC_HEADERS)
    get_filename_component(module ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/src/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BIZ_Manage${BIZ_QT_SUFFIX}/${module}
        COMPONENT biz_manage_dev)
endforeach()

install(EXPORT BIZ_ManageTargets
    NAMESPACE BIZ::
    DESTINATION ${BIZ_CMAKE_DIR}
    COMPONENT biz_manage_dev)
biz_install_pkg_config(BIZ_Manage biz_manage_dev)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT biz_license)

if(BIZ_BUILD_HOST)
    # A set of targets of its own: who links BIZ::Manage alone needs no Qt Network.
    install(TARGETS BIZ_Host
        EXPORT BIZ_HostTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT biz_host NAMELINK_COMPONENT biz_host_dev)
    foreach(header IN LISTS BIZ_HOST_PUBLIC_HEADERS)
        install(FILES ${PROJECT_SOURCE_DIR}/host/include/host/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BIZ_Host${BIZ_QT_SUFFIX}/host
            COMPONENT biz_host_dev)
    endforeach()
    install(EXPORT BIZ_HostTargets
        NAMESPACE BIZ::
        DESTINATION ${BIZ_CMAKE_DIR}
        COMPONENT biz_host_dev)
    biz_install_pkg_config(BIZ_Host biz_host_dev)
endif()

if(TARGET BIZ_TestKit)
    install(TARGETS BIZ_TestKit
        EXPORT BIZ_TestKitTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT biz_testkit_dev)
    foreach(header IN LISTS BIZ_TESTKIT_PUBLIC_HEADERS)
        install(FILES ${PROJECT_SOURCE_DIR}/testkit/include/testkit/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BIZ_TestKit${BIZ_QT_SUFFIX}/testkit
            COMPONENT biz_testkit_dev)
    endforeach()
    install(EXPORT BIZ_TestKitTargets
        NAMESPACE BIZ::
        DESTINATION ${BIZ_CMAKE_DIR}
        COMPONENT biz_testkit_dev)
    biz_install_pkg_config(BIZ_TestKit biz_testkit_dev)
endif()

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/BIZ_ManageConfig.cmake.in
    ${PROJECT_BINARY_DIR}/${BIZ_PACKAGE}Config.cmake
    INSTALL_DESTINATION ${BIZ_CMAKE_DIR})
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/${BIZ_PACKAGE}ConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/${BIZ_PACKAGE}Config.cmake
    ${PROJECT_BINARY_DIR}/${BIZ_PACKAGE}ConfigVersion.cmake
    DESTINATION ${BIZ_CMAKE_DIR}
    COMPONENT biz_manage_dev)

if(BIZ_BUILD_TOOLS)
    # Found beside the libraries wherever the installation is moved to.
    if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
        set(libraries ${CMAKE_INSTALL_LIBDIR})
    else()
        set(libraries $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
    endif()
    set_target_properties(biz_console biz_simulator PROPERTIES INSTALL_RPATH ${libraries})
    install(TARGETS biz_console biz_simulator
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT biz_tools)
    foreach(tool IN ITEMS biz_console biz_simulator)
        install(FILES ${PROJECT_SOURCE_DIR}/tools/${tool}/${tool}.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
            COMPONENT biz_tools)
        # bash-completion looks for a file of the program's name.
        install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/biz_tools.bash
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${tool}
            COMPONENT biz_tools)
        # fish does the same.
        install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/biz_tools.fish
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME ${tool}.fish
            COMPONENT biz_tools)
    endforeach()
    # zsh reads in the file itself of which programs it is.
    install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/biz_tools.zsh
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions RENAME _biz_tools
        COMPONENT biz_tools)
    if(TARGET biz_monitor)
        set_target_properties(biz_monitor PROPERTIES INSTALL_RPATH ${libraries})
        install(TARGETS biz_monitor
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT biz_monitor)
        set(monitor ${PROJECT_SOURCE_DIR}/tools/biz_monitor/biz_monitor)
        install(FILES ${monitor}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT biz_monitor)
        install(FILES ${monitor}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT biz_monitor)
        set(completion ${PROJECT_SOURCE_DIR}/tools/completion/biz_tools)
        install(FILES ${completion}.bash
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME biz_monitor
            COMPONENT biz_monitor)
        install(FILES ${completion}.fish
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME biz_monitor.fish
            COMPONENT biz_monitor)
        install(FILES ${completion}.zsh
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions RENAME _biz_monitor
            COMPONENT biz_monitor)
        install(FILES ${monitor}.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps
            COMPONENT biz_monitor)
    endif()
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/schemas
        DESTINATION ${CMAKE_INSTALL_DATADIR}/biz_manage
        COMPONENT biz_tools
        FILES_MATCHING PATTERN "*.schema.json")
endif()

if(BIZ_BUILD_GATEWAY)
    set_target_properties(biz_gateway PROPERTIES INSTALL_RPATH ${libraries})
    install(TARGETS biz_gateway RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT biz_gateway)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/biz_gateway/biz_gateway.8
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man8
        COMPONENT biz_gateway)
    # systemd looks below lib whatever the folder of the libraries is.
    install(FILES ${PROJECT_SOURCE_DIR}/tools/biz_gateway/service/biz-gateway.service
        DESTINATION lib/systemd/system
        COMPONENT biz_gateway)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/biz_gateway/service/biz-gateway.sysusers
        DESTINATION lib/sysusers.d RENAME biz-gateway.conf
        COMPONENT biz_gateway)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/biz_gateway/service/biz-gateway.tmpfiles
        DESTINATION lib/tmpfiles.d RENAME biz-gateway.conf
        COMPONENT biz_gateway)
endif()
