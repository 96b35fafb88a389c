# The whole flow: the service gatewayd, its client gwctl, and their tests.
set(gateway_root "${CMAKE_CURRENT_SOURCE_DIR}/gateway-service")

# gateway_library(NAME SOURCES...): what a program is made of besides its main file, so that the
# tests can link it too.
function(gateway_library name)
    list(TRANSFORM ARGN PREPEND "${gateway_root}/" OUTPUT_VARIABLE sources)
    add_library(${name} STATIC EXCLUDE_FROM_ALL ${sources})
    target_link_libraries(${name} PUBLIC vorn::gw-common)
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
    gatewayd/ListeningSocket.cpp
    gatewayd/Log.cpp
    gatewayd/Programs.cpp
    gatewayd/Request.cpp
    gatewayd/Scripts.cpp
    gatewayd/Server.cpp
    gatewayd/Service.cpp
    gatewayd/ServiceRequests.cpp
    gatewayd/Settings.cpp
    gatewayd/SettingsFile.cpp
    gatewayd/Vault.cpp
    gatewayd/answers.cpp
    gatewayd/identity.cpp
)
target_include_directories(gateway-service PUBLIC "${gateway_root}/gatewayd")
# libcap turns the names of capabilities into numbers.
target_link_libraries(gateway-service PUBLIC gateway-common PRIVATE PkgConfig::VORN_LIBCAP)

gateway_library(gateway-control
    gwctl/Arguments.cpp
    gwctl/Session.cpp
    gwctl/bind.cpp
    gwctl/jobs.cpp
    gwctl/settings.cpp
    gwctl/status.cpp
)
target_include_directories(gateway-control PUBLIC "${gateway_root}/gwctl")
target_link_libraries(gateway-control PUBLIC gateway-common)

add_executable(gatewayd "${gateway_root}/gatewayd/main.cpp")
target_link_libraries(gatewayd PRIVATE gateway-service)
vorn_warnings(gatewayd)

# Loaded when it runs, so that the demonstration has it.
if(TARGET secretbox_plugin)
    add_dependencies(gatewayd secretbox_plugin)
endif()

add_executable(gwctl "${gateway_root}/gwctl/main.cpp")
target_link_libraries(gwctl PRIVATE gateway-control)
vorn_warnings(gwctl)

if(VORN_GW_COMMON_TESTS)
    include("${gateway_root}/tests/tests.cmake")
endif()
