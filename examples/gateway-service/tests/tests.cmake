# The service's classes alone.
vorn_add_test_program(gateway-service_unit_tests gateway-service
    "${gateway_root}/tests/Arguments_test.cpp"
    "${gateway_root}/tests/Configuration_test.cpp"
    "${gateway_root}/tests/Json_test.cpp"
    "${gateway_root}/tests/LineBuffer_test.cpp"
    "${gateway_root}/tests/Request_test.cpp"
    "${gateway_root}/tests/SettingsFile_test.cpp"
)
target_link_libraries(gateway-service_unit_tests PRIVATE gateway-service gateway-control)

# The real programs, started as a user starts them.
vorn_add_test_program(gateway-service_tests gateway-common
    "${gateway_root}/tests/Bind_test.cpp"
    "${gateway_root}/tests/Cancel_test.cpp"
    "${gateway_root}/tests/Clients_test.cpp"
    "${gateway_root}/tests/Flow_test.cpp"
    "${gateway_root}/tests/Hygiene_test.cpp"
    "${gateway_root}/tests/Lifecycle_test.cpp"
    "${gateway_root}/tests/Programs_test.cpp"
    "${gateway_root}/tests/Requests_test.cpp"
    "${gateway_root}/tests/Settings_test.cpp"
    "${gateway_root}/tests/programs.cpp"
)
target_compile_definitions(gateway-service_tests PRIVATE
    "GATEWAYD_PROGRAM=\"$<TARGET_FILE:gatewayd>\""
    "GWCTL_PROGRAM=\"$<TARGET_FILE:gwctl>\""
    "PROGRAM_PREFIX=\"${CMAKE_CROSSCOMPILING_EMULATOR}\"")
add_dependencies(gateway-service_tests gatewayd gwctl)
add_library(gateway-throwing_plugin MODULE EXCLUDE_FROM_ALL "${gateway_root}/tests/throwing_plugin.cpp")
target_link_libraries(gateway-throwing_plugin PRIVATE vorn::gw-common)
vorn_warnings(gateway-throwing_plugin)
target_compile_definitions(gateway-service_tests PRIVATE
    "THROWING_PLUGIN=\"$<TARGET_FILE:gateway-throwing_plugin>\"")
add_dependencies(gateway-service_tests gateway-throwing_plugin)
if(TARGET secretbox_plugin)
    target_sources(gateway-service_tests PRIVATE "${gateway_root}/tests/Secret_test.cpp")
    target_compile_definitions(gateway-service_tests PRIVATE
        "SECRETBOX_PLUGIN=\"$<TARGET_FILE:secretbox_plugin>\"")
    add_dependencies(gateway-service_tests secretbox_plugin)
endif()

add_test(NAME gateway-service.demo
    COMMAND bash "${gateway_root}/demo" "${CMAKE_CURRENT_BINARY_DIR}"
            ${CMAKE_CROSSCOMPILING_EMULATOR})
set_tests_properties(gateway-service.demo PROPERTIES TIMEOUT 120)

add_test(NAME gateway-service.unit
    COMMAND bash "${gateway_root}/check-unit" "$<TARGET_FILE:gatewayd>")
set_tests_properties(gateway-service.unit PROPERTIES SKIP_RETURN_CODE 77)

# The short form of the load; the long ones are started by hand (see the README).
add_executable(gateway-load "${gateway_root}/tests/load.cpp")
target_link_libraries(gateway-load PRIVATE gateway-control)
vorn_warnings(gateway-load)
add_dependencies(gateway-load gatewayd)
add_test(NAME gateway-service.load
    COMMAND gateway-load 3 "$<TARGET_FILE:gatewayd>" ${CMAKE_CROSSCOMPILING_EMULATOR})
set_tests_properties(gateway-service.load PROPERTIES TIMEOUT 300)
