# Installation: headers, libraries, the host programs, and what find_package and
# pkg-config need to find them. Everything is relative to the installed files, so
# an installed tree may be moved, and `cmake --install --prefix` may choose another.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/varno)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/varno
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# The libraries find each other and the platform beside themselves; LD_LIBRARY_PATH
# and a platform that the program loads first still go before.
set(libraries varno varno_session varno_commands varno_platform)
set(archives varno_commands_main)
set(modules varno varno-session varno-commands varno-commands-main varno-platform)
if(TARGET varno_server)
    list(APPEND libraries varno_server)
    list(APPEND modules varno-server)
endif()
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${libraries} ${archives} EXPORT varno)

# Shared and static libraries may be installed beside each other, from two builds.
set(kind static)
if(BUILD_SHARED_LIBS)
    set(kind shared)
endif()
install(EXPORT varno
    NAMESPACE varno::
    FILE varno-${kind}.cmake
    DESTINATION ${package_dir})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/varno-config.cmake.in
    ${PROJECT_BINARY_DIR}/package/varno-config.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/package/varno-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/package/varno-config.cmake
    ${PROJECT_BINARY_DIR}/package/varno-config-version.cmake
    ${CMAKE_CURRENT_LIST_DIR}/varno-check-commands.cmake
    DESTINATION ${package_dir})

# The prefix as seen from the directory of the .pc files.
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR
    BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE OUTPUT_VARIABLE pc_dir)
cmake_path(APPEND pc_dir pkgconfig)
file(RELATIVE_PATH pc_to_prefix ${pc_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    cmake_path(APPEND pc_${dir} "\${prefix}" ${CMAKE_INSTALL_${dir}})
endforeach()
# Who links static libraries links what they need too; with shared ones that is hidden.
set(pc_private_modules "")
set(pc_server_modules "")
set(pc_private_libs "")
set(pc_commands_libs "")
if(NOT BUILD_SHARED_LIBS)
    set(pc_private_modules tinfo)
    set(pc_server_modules libuv)
    set(pc_private_libs ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
    list(FILTER pc_private_libs INCLUDE REGEX "c\\+\\+") # a C compiler links the rest itself
    list(TRANSFORM pc_private_libs PREPEND -l)
    list(JOIN pc_private_libs " " pc_private_libs)
    set(pc_commands_libs "${pc_private_libs}")
    if(VARNO_WITH_RE2 AND VARNO_HAS_RE2)
        set(pc_commands_libs "-lre2 ${pc_private_libs}")
    endif()
endif()
foreach(module IN LISTS modules)
    configure_file(
        ${CMAKE_CURRENT_LIST_DIR}/${module}.pc.in
        ${PROJECT_BINARY_DIR}/package/${module}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${module}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# The host programs find the libraries from where they are installed.
foreach(program IN ITEMS varno-tty varno-telnetd)
    if(TARGET ${program})
        cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_BINDIR
            BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE OUTPUT_VARIABLE bin_dir)
        cmake_path(GET pc_dir PARENT_PATH lib_dir)
        file(RELATIVE_PATH bin_to_lib ${bin_dir} ${lib_dir})
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
        install(TARGETS ${program})
    endif()
endforeach()

if(TARGET varno-telnetd)
    get_target_property(units varno-telnetd VARNO_UNITS)
    install(DIRECTORY ${units}/ DESTINATION lib/systemd/system)
endif()
