find_package(GTest REQUIRED)
include(GoogleTest)

# vorn_add_tests(SUBSYSTEM [SOURCES ...] [INTERNAL ...])
#
# SOURCES see the library as its users do: installed headers, exported symbols.
# INTERNAL test what is not exported; they include from src/ and link the library's objects.
function(vorn_add_tests subsystem)
    cmake_parse_arguments(arg "" "" "SOURCES;INTERNAL" ${ARGN})
    if(arg_SOURCES)
        vorn_add_test_program(${subsystem}_tests vorn::gw-common ${arg_SOURCES})
    endif()
    if(arg_INTERNAL)
        vorn_add_test_program(${subsystem}_internal_tests vorn-gw-common-internal ${arg_INTERNAL})
    endif()
endfunction()

function(vorn_add_test_program name library)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE ${library} vorn-test-helpers GTest::gmock
                          GTest::gtest_main)
    vorn_warnings(${name})
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 120
                         PROPERTIES TIMEOUT 300)
endfunction()
