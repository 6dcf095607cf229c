# Optimisation of a library across its modules, in a release build without
# instrumentation.

include(CheckIPOSupported)
include(CheckLinkerFlag)

set(VARNO_IS_OPTIMIZED FALSE)
set(VARNO_HAS_LTO FALSE)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT VARNO_SANITIZE AND NOT VARNO_COVERAGE)
    set(VARNO_IS_OPTIMIZED TRUE)
    # clang's objects could not be linked by programs that are not told of it.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        check_ipo_supported(RESULT VARNO_HAS_LTO LANGUAGES CXX)
    endif()
endif()

# Half of a library's relocations are table rows with an address of its own: packed they
# take a bit each. The C library that it is built with has to know them, and runs it.
function(varno_pack_relocations target)
    check_linker_flag(CXX LINKER:-z,pack-relative-relocs VARNO_HAS_PACKED_RELOCATIONS)
    if(VARNO_IS_OPTIMIZED AND VARNO_HAS_PACKED_RELOCATIONS)
        target_link_options(${target} PRIVATE LINKER:-z,pack-relative-relocs)
    endif()
endfunction()

# Calls within the library go straight to the function, whatever else in the process
# has its name; exported tables and variables keep one address for all. -O2, since -O3
# makes a sixth more code of the line editor and no key faster; and the few numbers of a
# record are stored one by one, since packing them into a vector first takes longer.
function(varno_optimize_as_one target)
    if(NOT VARNO_IS_OPTIMIZED)
        return()
    endif()
    target_compile_options(${target} PRIVATE
        -O2 -fno-tree-slp-vectorize -fno-semantic-interposition -fno-plt)
    if(VARNO_HAS_LTO)
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION TRUE)
    endif()
endfunction()
