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
