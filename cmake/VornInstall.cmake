# SPDX-License-Identifier: MIT

# Two components: Runtime (what an image ships) and Development (what a service is built with).
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vorn-gw-common")

install(TARGETS vorn-gw-common EXPORT vorn-gw-common-targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Runtime
            NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT Development)
install(EXPORT vorn-gw-common-targets NAMESPACE vorn:: DESTINATION "${package_dir}"
    COMPONENT Development)

# The build tree can be used by find_package without an installation.
export(TARGETS vorn-gw-common NAMESPACE vorn::
       FILE "${PROJECT_BINARY_DIR}/vorn-gw-common-targets.cmake")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/vorn-gw-common-config.cmake.in"
    "${PROJECT_BINARY_DIR}/vorn-gw-common-config.cmake"
    INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vorn-gw-common-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/vorn-gw-common-config.cmake"
              "${PROJECT_BINARY_DIR}/vorn-gw-common-config-version.cmake"
    DESTINATION "${package_dir}" COMPONENT Development)

# The prefix is absolute, as cross builds with a sysroot need it; whoever moves the tree gives it to
# pkg-config with --define-variable=prefix=PATH, or --define-prefix where the module lies two folders
# below it.
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}"
           OUTPUT_VARIABLE pc_libdir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}"
           OUTPUT_VARIABLE pc_includedir)
set(pc_private_libs "-pthread")
foreach(library IN LISTS CMAKE_DL_LIBS VORN_ATOMIC_LIBRARY)
    string(APPEND pc_private_libs " -l${library}")
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/vorn-gw-common.pc.in"
    "${PROJECT_BINARY_DIR}/vorn-gw-common.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vorn-gw-common.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Development)

# gdb loads what lies at the place of a library, below its own folder, under the library's name.
if(VORN_GW_COMMON_SHARED)
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/gdb/printers.py"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}"
        RENAME "libvorn-gw-common.so.${PROJECT_VERSION}-gdb.py" COMPONENT Development)
endif()
