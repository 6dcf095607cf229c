# varno_check_commands(NAME SOURCES...): a program NAME, which is varno-commands with the tables of
# the sources, of which one defines varno_commands_fill of varno/commands_main.h; and a test of
# that name, which fails when there is something to be found wrong or doubtful with them.
function(varno_check_commands name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE varno::commands_main)
    add_test(NAME ${name} COMMAND ${name})
endfunction()
