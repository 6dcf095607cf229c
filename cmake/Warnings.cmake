# The warnings of our own targets; a target asks for them by linking varno_warnings.

add_library(varno_warnings INTERFACE)
target_compile_options(varno_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
    $<$<BOOL:${VARNO_WERROR}>:-Werror>)
