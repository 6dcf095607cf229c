# Runs the same program on the default platform and on the device's, and compares
# what each run says with what it has to say.

function(expect_output what expected)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE said RESULT_VARIABLE status)
    if(NOT status EQUAL 0 OR NOT said STREQUAL expected)
        message(FATAL_ERROR "${what}: status ${status}, expected\n${expected}but it said\n${said}")
    endif()
endfunction()

expect_output("on the default platform"
"module: 1
debug traces: off
line: do show ip route, drawn
"
    ${PROGRAM})

expect_output("on the device's platform"
"module: 4711
debug traces: on
line: do show ip route, drawn
device: every block came back, debug traces heard
"
    ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${DEVICE_DIR}:$ENV{LD_LIBRARY_PATH} ${PROGRAM})
