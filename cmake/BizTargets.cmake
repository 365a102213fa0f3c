# What every target of this project has in common: the language, hidden symbols, the warnings, the strict Qt
# definitions and the precompiled headers; how shared libraries are linked; and how sources are joined.

# biz_target_defaults(target [precompiled]): the precompiled headers are those of Qt unless others are named.
function(biz_target_defaults target)
    set(precompiled biz_precompiled_qt)
    if(ARGC GREATER 1)
        set(precompiled ${ARGV1})
    endif()
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 17
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    # Under sanitizers gcc takes the value of a std::optional that has none for uninitialised.
    set(without_warnings)
    if(CMAKE_CXX_FLAGS MATCHES "-fsanitize" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set(without_warnings -Wno-maybe-uninitialized)
    endif()
    # Qt's logging macros are called without arguments of their own, which clang calls an extension.
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow
        $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>
        ${without_warnings}
        $<$<BOOL:${BIZ_WARNINGS_AS_ERRORS}>:-Werror>)
    target_compile_definitions(${target} PRIVATE
        QT_NO_KEYWORDS
        QT_NO_CAST_TO_ASCII
        QT_NO_FOREACH
        QT_STRICT_ITERATORS
        QT_DEPRECATED_WARNINGS)
    biz_use_precompiled_headers(${target} ${precompiled})
endfunction()

# A library that was loaded stays until the process ends, also where a plug-in that brought it is
# unloaded: threads that nobody can join run in its code, and look at its static members.
function(biz_stay_loaded target)
    target_link_options(${target} PRIVATE -Wl,-z,nodelete)
endfunction()

# An unresolved symbol is found when a library is linked, not when a host loads it.
# The sanitizers' run-time symbols are resolved by the program alone.
function(biz_link_completely target)
    if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
endfunction()

option(BIZ_JOIN_SOURCES "Compile the sources of each folder of the kits and the tools as one" OFF)

# biz_join_sources(target [BUT folder]): what headers and templates cost is paid once for each folder in place of once
# for each source. For builds from nothing; who works on a source has it compiled by itself. Names without linkage are
# to be unique within a folder, which names it for what it is about anyway, but for the folder that is left out.
function(biz_join_sources target)
    if(NOT BIZ_JOIN_SOURCES)
        return()
    endif()
    cmake_parse_arguments(ARG "" "BUT" "" ${ARGN})
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    foreach(source IN LISTS sources)
        get_filename_component(folder ${source} DIRECTORY)
        if(NOT DEFINED ARG_BUT OR NOT folder STREQUAL ARG_BUT)
            string(MAKE_C_IDENTIFIER "joined_${folder}" group)
            set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
