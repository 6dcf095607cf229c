# Optimisation of the libraries, the same for every build type that optimises. Debug
# builds and instrumented ones stay as they are.

include(CheckIPOSupported)

# Objects of link-time optimisation suit one compiler's linker. So clang's would have to be
# known to whoever links the tests, and those of a static library to whoever links that.
set(VARNO_HAS_LTO FALSE)
if(BUILD_SHARED_LIBS AND NOT VARNO_IS_INSTRUMENTED AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    check_ipo_supported(RESULT VARNO_HAS_LTO LANGUAGES CXX)
endif()

# -O2 also where CMake's own choice is -O3, which makes a sixth more code of the line
# editor and no key faster.
function(varno_optimize target)
    if(NOT VARNO_IS_INSTRUMENTED)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O2>)
    endif()
endfunction()

# A library across its modules: calls within it go straight to the function, whatever
# else in the process has its name. Exported tables and variables keep one address for all.
function(varno_optimize_as_one target)
    varno_optimize(${target})
    if(NOT VARNO_IS_INSTRUMENTED)
        target_compile_options(${target} PRIVATE
            $<$<NOT:$<CONFIG:Debug>>:-fno-semantic-interposition>)
        set_target_properties(${target} PROPERTIES
            INTERPROCEDURAL_OPTIMIZATION ${VARNO_HAS_LTO}
            INTERPROCEDURAL_OPTIMIZATION_DEBUG OFF)
    endif()
endfunction()
