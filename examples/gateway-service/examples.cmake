# SPDX-License-Identifier: MIT

# The whole flow: the service gatewayd, its client gwctl, and their tests.
set(gateway_root "${CMAKE_CURRENT_SOURCE_DIR}/gateway-service")

# gateway_library(NAME SOURCES...): what a program is made of besides its main file, so that the
# tests can link it too.
function(gateway_library name)
    list(TRANSFORM ARGN PREPEND "${gateway_root}/" OUTPUT_VARIABLE sources)
    add_library(${name} STATIC EXCLUDE_FROM_ALL ${sources})
    target_link_libraries(${name} PUBLIC vorn::gw-common)
    vorn_parse_headers_once(${name})
    vorn_warnings(${name})
endfunction()

gateway_library(gateway-common
    common/JsonFields.cpp
    common/LineBuffer.cpp
    common/json.cpp
    common/process.cpp
    common/sockets.cpp
)
target_include_directories(gateway-common PUBLIC "${gateway_root}/common")
target_compile_definitions(gateway-common PUBLIC "GATEWAY_VERSION=\"${PROJECT_VERSION}\"")

gateway_library(gateway-service
    gatewayd/Bindings.cpp
    gatewayd/Configuration.cpp
    gatewayd/Log.cpp
    gatewayd/Programs.cpp
    gatewayd/Request.cpp
    gatewayd/Scripts.cpp
    gatewayd/Server.cpp
    gatewayd/Service.cpp
    gatewayd/ServiceRequests.cpp
    gatewayd/Settings.cpp
    gatewayd/SettingsFile.cpp
    gatewayd/answers.cpp
)
target_include_directories(gateway-service PUBLIC "${gateway_root}/gatewayd")
target_link_libraries(gateway-service PUBLIC gateway-common)

gateway_library(gateway-control
    gwctl/Arguments.cpp
    gwctl/Session.cpp
    gwctl/bind.cpp
    gwctl/jobs.cpp
    gwctl/service.cpp
)
target_include_directories(gateway-control PUBLIC "${gateway_root}/gwctl")
target_link_libraries(gateway-control PUBLIC gateway-common)

add_executable(gatewayd "${gateway_root}/gatewayd/main.cpp")
# libcap turns the names of capabilities into numbers.
target_link_libraries(gatewayd PRIVATE gateway-service PkgConfig::VORN_LIBCAP)
vorn_warnings(gatewayd)

# Loaded when it runs, so that the demonstration has it.
if(TARGET secretbox_plugin)
    add_dependencies(gatewayd secretbox_plugin)
endif()

add_executable(gwctl "${gateway_root}/gwctl/main.cpp")
target_link_libraries(gwctl PRIVATE gateway-control)
vorn_warnings(gwctl)

if(NOT VORN_GW_COMMON_TESTS)
    return()
endif()

# The service's classes alone.
vorn_add_test_program(gateway-service_unit_tests gateway-service
    "${gateway_root}/tests/Session_test.cpp"
    "${gateway_root}/tests/SettingsFile_test.cpp"
    "${gateway_root}/tests/Texts_test.cpp"
)
target_link_libraries(gateway-service_unit_tests PRIVATE gateway-service gateway-control)

# The real programs, started as a user starts them.
vorn_add_test_program(gateway-service_tests gateway-common
    "${gateway_root}/tests/Bind_test.cpp"
    "${gateway_root}/tests/Clients_test.cpp"
    "${gateway_root}/tests/Flow_test.cpp"
    "${gateway_root}/tests/Hostile_test.cpp"
    "${gateway_root}/tests/Hygiene_test.cpp"
    "${gateway_root}/tests/Jobs_test.cpp"
    "${gateway_root}/tests/Lifecycle_test.cpp"
    "${gateway_root}/tests/Requests_test.cpp"
    "${gateway_root}/tests/Settings_test.cpp"
    "${gateway_root}/tests/programs.cpp"
)
target_compile_definitions(gateway-service_tests PRIVATE
    "GATEWAYD_PROGRAM=\"$<TARGET_FILE:gatewayd>\""
    "GATEWAYD_CONFIGURATION=\"${gateway_root}/gatewayd.json\""
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
add_executable(gateway-load
    "${gateway_root}/tests/load.cpp"
    "${gateway_root}/tests/load_clients.cpp"
)
target_link_libraries(gateway-load PRIVATE gateway-control)
vorn_warnings(gateway-load)
add_dependencies(gateway-load gatewayd)
set(gateway_load_prefix "")
if(CMAKE_CROSSCOMPILING_EMULATOR)
    # Programs are started by their absolute paths.
    find_program(GATEWAY_LOAD_EMULATOR "${CMAKE_CROSSCOMPILING_EMULATOR}" NO_CMAKE_FIND_ROOT_PATH)
    set(gateway_load_prefix "${GATEWAY_LOAD_EMULATOR}")
endif()
add_test(NAME gateway-service.load
    COMMAND gateway-load 3 "$<TARGET_FILE:gatewayd>" ${gateway_load_prefix})
set_tests_properties(gateway-service.load PROPERTIES TIMEOUT 300)
