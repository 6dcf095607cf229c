# What holds for the files that are shipped, the libraries and the host programs: they are
# hardened, and say nothing of the folder that they were built in. A sanitized build has
# better checks of its own, and one without optimisation cannot have these.

include(CheckCXXCompilerFlag)

if(VARNO_IS_INSTRUMENTED)
    return()
endif()

check_cxx_compiler_flag(-fcf-protection=full VARNO_HAS_CF_PROTECTION) # x86 alone

# The last one that fits holds, and a build may be within its sources.
set(no_folders
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)

foreach(target IN ITEMS
        varno_objects varno varno_platform varno_session varno_server varno_commands_objects
        varno_commands varno_commands_main varno-commands
        varno_device_objects varno_tty_objects varno-tty varno-telnetd)
    if(NOT TARGET ${target})
        continue()
    endif()
    # A distribution's compiler may have a level of its own.
    target_compile_options(${target} PRIVATE
        "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3;-fstack-protector-strong;${no_folders}>"
        $<$<AND:$<BOOL:${VARNO_HAS_CF_PROTECTION}>,$<NOT:$<CONFIG:Debug>>>:-fcf-protection=full>)
    target_link_options(${target} PRIVATE
        "$<$<NOT:$<CONFIG:Debug>>:${no_folders}>"
        LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endforeach()
