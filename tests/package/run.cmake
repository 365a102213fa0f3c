# run(command...): ends the script with the command's output unless it succeeds. Each is bounded.
function(run)
    execute_process(COMMAND ${ARGN} TIMEOUT 600
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}\nended with ${result}")
    endif()
endfunction()

# play_quick_start(prefix program): against the simulator that is installed there. Given: PLAY, the
# script that starts the one and then the other.
function(play_quick_start prefix program)
    execute_process(COMMAND ${PLAY} ${prefix}/bin/biz_simulator --model A2 --port 0 -- ${program} TIMEOUT 60
        OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT output MATCHES "answered - its reply came" OR output MATCHES "exit status")
        message(FATAL_ERROR "${program} against the installed simulator:\n${output}")
    endif()
endfunction()
