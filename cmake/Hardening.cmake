# Hardening of what is shipped: the libraries and the host programs. A sanitized build
# has better checks of its own, and one without optimisation cannot have these.

include(CheckCXXCompilerFlag)

if(VARNO_SANITIZE OR VARNO_COVERAGE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
    return()
endif()

check_cxx_compiler_flag(-fcf-protection=full VARNO_HAS_CF_PROTECTION) # x86 alone

foreach(target IN ITEMS
        varno_objects varno varno_platform varno_session
        varno_device_objects varno_tty_objects varno-tty varno-telnetd)
    if(NOT TARGET ${target})
        continue()
    endif()
    # A distribution's compiler may have a level of its own.
    target_compile_options(${target} PRIVATE
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
        -fstack-protector-strong
        $<$<BOOL:${VARNO_HAS_CF_PROTECTION}>:-fcf-protection=full>)
    target_link_options(${target} PRIVATE
        LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endforeach()
