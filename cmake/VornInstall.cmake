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

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/vorn-gw-common-config.cmake.in"
    "${PROJECT_BINARY_DIR}/vorn-gw-common-config.cmake"
    INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vorn-gw-common-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/vorn-gw-common-config.cmake"
              "${PROJECT_BINARY_DIR}/vorn-gw-common-config-version.cmake"
    DESTINATION "${package_dir}" COMPONENT Development)

# The module finds its prefix from its own place, so that a moved installation stays usable.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
    set(pc_libdir "${CMAKE_INSTALL_LIBDIR}")
    set(pc_includedir "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
    file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(pc_prefix "\${pcfiledir}/${up}")
    set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(pc_private_libs "-pthread")
foreach(library IN LISTS CMAKE_DL_LIBS VORN_ATOMIC_LIBRARY)
    string(APPEND pc_private_libs " -l${library}")
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/vorn-gw-common.pc.in"
    "${PROJECT_BINARY_DIR}/vorn-gw-common.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vorn-gw-common.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Development)
