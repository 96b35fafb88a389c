# SPDX-License-Identifier: MIT

# The first-day service, started as somebody starts it.
set(service_tests "${CMAKE_CURRENT_LIST_DIR}")
vorn_add_test_program(service_tests vorn::gw-common
    "${service_tests}/Requests_test.cpp"
    "${service_tests}/RunningService.cpp"
    "${service_tests}/Settings_test.cpp"
    "${service_tests}/Start_test.cpp"
)
target_compile_definitions(service_tests PRIVATE
    "SERVICE_PROGRAM=\"$<TARGET_FILE:first-service>\""
    "PROGRAM_PREFIX=\"${CMAKE_CROSSCOMPILING_EMULATOR}\"")
add_dependencies(service_tests first-service)

find_program(SYSTEMD_ANALYZE systemd-analyze)
if(SYSTEMD_ANALYZE)
    set(service_unit "${PROJECT_SOURCE_DIR}/examples/service/first-service.service")
    add_test(NAME service.unit_is_valid COMMAND ${SYSTEMD_ANALYZE} verify "${service_unit}")
    # Tenths: below 3.0.
    add_test(NAME service.unit_is_hardened COMMAND ${SYSTEMD_ANALYZE} security --offline=yes
        --threshold=29 "${service_unit}")
endif()
