# run(command...): ends the script with the command's output unless it succeeds. Each is bounded.
function(run)
    execute_process(COMMAND ${ARGN} TIMEOUT 240
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}\nended with ${result}")
    endif()
endfunction()
