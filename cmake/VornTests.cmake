# SPDX-License-Identifier: MIT
find_package(GTest REQUIRED)
include(GoogleTest)
include(VornJoin)

# vorn_add_tests(SUBSYSTEM [PUBLIC_API SOURCE...] [INTERNAL SOURCE...])
#
# PUBLIC_API: sources that see the library as its users do: installed headers, exported symbols.
# INTERNAL: sources that test what is not exported; they include from src/ and link its objects.
# The target tests-<subsystem> builds both, and the subsystem's examples. Where the folder sets VORN_TEST_COST, its
# tests are started before those with a lower one: a long test at the end leaves a processor idle.
function(vorn_add_tests subsystem)
    cmake_parse_arguments(arg "" "" "PUBLIC_API;INTERNAL" ${ARGN})
    string(REPLACE "_" "-" folder ${subsystem})
    add_custom_target(tests-${folder})
    if(arg_PUBLIC_API)
        vorn_add_test_program(${subsystem}_tests vorn::gw-common ${arg_PUBLIC_API})
        add_dependencies(tests-${folder} ${subsystem}_tests)
    endif()
    if(arg_INTERNAL)
        vorn_add_test_program(${subsystem}_internal_tests vorn-gw-common-internal ${arg_INTERNAL})
        add_dependencies(tests-${folder} ${subsystem}_internal_tests)
    endif()
endfunction()

function(vorn_add_test_program name library)
    set(sources ${ARGN})
    if(VORN_GW_COMMON_JOIN_TESTS)
        vorn_join(sources ${name} ${ARGN})
    endif()
    add_executable(${name} ${sources})
    if(VORN_GW_COMMON_JOIN_TESTS)
        # What is joined is included from there, so that the text is the same in every checkout.
        target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    endif()
    target_link_libraries(${name} PRIVATE ${library} vorn-test-helpers vorn-test-faults GTest::gmock
                          GTest::gtest_main)
    target_precompile_headers(${name} REUSE_FROM vorn-test-helpers)
    vorn_warnings(${name})
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 120
                         PROPERTIES TIMEOUT 300 COST 0${VORN_TEST_COST})
endfunction()

# vorn_add_refusal(SUBSYSTEM NAME EXPECTED): refused/NAME.cpp must not compile, and the compiler's one error
# must match the expression EXPECTED.
function(vorn_add_refusal subsystem name expected)
    add_test(NAME ${subsystem}_tests.refused.${name}
        COMMAND ${CMAKE_COMMAND} "-Dcompiler=${CMAKE_CXX_COMPILER}"
                "-Dincludes=${PROJECT_SOURCE_DIR}/include"
                "-Dsource=${CMAKE_CURRENT_SOURCE_DIR}/refused/${name}.cpp" "-Dexpected=${expected}"
                -P "${PROJECT_SOURCE_DIR}/cmake/VornRefusal.cmake")
endfunction()
