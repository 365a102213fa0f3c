# `cpack --config CPackSourceConfig.cmake` makes a tarball of the sources. Debian packages are made from it by
# scripts/packages, by the rules in debian/.
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME libbiz-manage)
set(CPACK_PACKAGE_VENDOR "the libBIZ_Manage authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION})
# Patterns for whole paths: only what lies at the top of this tree may match.
string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" biz_tree ${PROJECT_SOURCE_DIR})
set(CPACK_SOURCE_IGNORE_FILES ^${biz_tree}/build ^${biz_tree}/out/ ^${biz_tree}/\\.git$ ^${biz_tree}/\\.git/ ^${biz_tree}/\\.cache/)

include(CPack)
