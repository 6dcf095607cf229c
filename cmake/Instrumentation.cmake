# Sanitizers and coverage, for every target of a developer's build alike.

if(VARNO_SANITIZE)
    add_compile_options(-fsanitize=${VARNO_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VARNO_SANITIZE})
endif()

if(VARNO_COVERAGE)
    add_compile_options(--coverage -O0)
    add_link_options(--coverage)
endif()
