# Sanitizers and coverage, for every target of a developer's build alike.

set(VARNO_IS_INSTRUMENTED FALSE)
if(VARNO_SANITIZE OR VARNO_COVERAGE)
    set(VARNO_IS_INSTRUMENTED TRUE)
endif()

if(VARNO_SANITIZE)
    add_compile_options(-fsanitize=${VARNO_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VARNO_SANITIZE})
endif()

# A library names all it needs. clang leaves the sanitizers' own names to the program.
if(NOT VARNO_SANITIZE)
    set(VARNO_NO_UNDEFINED LINKER:-z,defs)
endif()

if(VARNO_COVERAGE)
    # Atomic, since some tests run threads.
    add_compile_options(--coverage -fprofile-update=atomic -O0)
    add_link_options(--coverage)
endif()
