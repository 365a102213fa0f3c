# Run by cpack in the folder of a package before it is packed: Debian's manual pages are compressed.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.1)
list(FILTER pages INCLUDE REGEX "/man/man1/")
if(pages)
    execute_process(COMMAND gzip -9nf ${pages} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "gzip cannot compress ${pages}")
    endif()
endif()
