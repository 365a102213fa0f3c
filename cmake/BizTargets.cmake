# What every target of this project has in common: the language, hidden symbols, the warnings, the strict Qt
# definitions and the precompiled headers; and how shared libraries are linked.

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
