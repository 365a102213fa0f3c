# Headers of Qt, the standard library and GoogleTest are most of what a source of this tree costs to compile. Two
# targets compile them once, and all others take them from there: one for whatever uses Qt, one for tests.
#
# A target that is optimised otherwise than the one it takes them from must not: gcc 12 crashes. It sets
# DISABLE_PRECOMPILE_HEADERS. Precompiled headers hide a missing #include; clang's build of
# scripts/verify does without them and sees it.

# A ccache that stands for the compiler itself cannot be told to cope with precompiled headers.
get_filename_component(compiler ${CMAKE_CXX_COMPILER} REALPATH)
if(compiler MATCHES "ccache")
    set(default OFF)
else()
    set(default ${BIZ_IS_TOP_LEVEL})
endif()
option(BIZ_PRECOMPILED_HEADERS "Compile the headers of Qt and GoogleTest once" ${default})

# What inline functions of these headers need of templates is compiled anew in each source. So a header that costs much
# of that and has few users is missing here: QThread, which brings <future>, and those of Qt Network.
set(BIZ_STANDARD_HEADERS
    <algorithm> <array> <atomic> <chrono> <condition_variable> <deque> <functional> <limits> <map> <memory>
    <mutex> <optional> <queue> <set> <string> <thread> <vector>)
set(BIZ_QT_CORE_HEADERS
    <QtCore/QByteArray> <QtCore/QCoreApplication> <QtCore/QDateTime> <QtCore/QDebug> <QtCore/QDir>
    <QtCore/QElapsedTimer> <QtCore/QFile> <QtCore/QHash> <QtCore/QJsonArray> <QtCore/QJsonDocument>
    <QtCore/QJsonObject> <QtCore/QList> <QtCore/QLocale> <QtCore/QMap> <QtCore/QObject> <QtCore/QPointer>
    <QtCore/QRegularExpression> <QtCore/QString> <QtCore/QStringList> <QtCore/QTextStream> <QtCore/QTimer>
    <QtCore/QUrl> <QtCore/QVector>)

# biz_add_precompiled_headers(target [LIBRARIES library...] HEADERS header...): the target that compiles them.
function(biz_add_precompiled_headers target)
    cmake_parse_arguments(ARG "" "" "LIBRARIES;HEADERS" ${ARGN})
    if(NOT BIZ_PRECOMPILED_HEADERS)
        return()
    endif()
    set(source ${PROJECT_BINARY_DIR}/${target}.cpp)
    if(NOT EXISTS ${source})
        file(WRITE ${source} "// Nothing but the precompiled headers.\n")
    endif()
    add_library(${target} OBJECT ${source})
    biz_target_defaults(${target} none)
    target_link_libraries(${target} PRIVATE Qt${BIZ_QT}::Core ${ARG_LIBRARIES})
    target_precompile_headers(${target} PRIVATE ${BIZ_STANDARD_HEADERS} ${BIZ_QT_CORE_HEADERS} ${ARG_HEADERS})
    biz_tell_ccache(${target})
endfunction()

# biz_use_precompiled_headers(target from)
function(biz_use_precompiled_headers target from)
    if(TARGET ${from})
        target_precompile_headers(${target} REUSE_FROM ${from})
        biz_tell_ccache(${target})
    endif()
endfunction()

# By itself, ccache passes on every source that has precompiled headers.
function(biz_tell_ccache target)
    if("${CMAKE_CXX_COMPILER_LAUNCHER}" MATCHES "ccache$")
        set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER
            "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CMAKE_CXX_COMPILER_LAUNCHER}")
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    endif()
endfunction()
