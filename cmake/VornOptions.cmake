# SPDX-License-Identifier: MIT

# Everything a builder can choose. As a subproject only the library itself is built.
option(VORN_GW_COMMON_SHARED "Build the shared library (OFF: a static one)" ON)
option(VORN_GW_COMMON_INSTALL "Create install rules" ${PROJECT_IS_TOP_LEVEL})
option(VORN_GW_COMMON_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(VORN_GW_COMMON_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(VORN_GW_COMMON_BENCHMARKS "Build the benchmarks (needs Google Benchmark)" OFF)
option(VORN_GW_COMMON_FUZZERS "Build the fuzzers for clang's libFuzzer (needs clang)" OFF)
option(VORN_GW_COMMON_WERROR "Treat warnings as errors" OFF)
# For trees in which nobody edits: a change to one test compiles its neighbours too.
option(VORN_GW_COMMON_JOIN_TESTS "Compile several test files at once, which takes half of the time" OFF)
# Packages are made without it, and clang-tidy reads each source by itself: there a missing include shows.
option(VORN_GW_COMMON_PRECOMPILE "Precompile the headers that most sources of the library include" OFF)
# CTest's own switch turns them off too.
if(DEFINED BUILD_TESTING AND NOT BUILD_TESTING)
    set(VORN_GW_COMMON_TESTS OFF)
endif()
set(VORN_GW_COMMON_SANITIZE "" CACHE STRING "Sanitizers, as in -fsanitize= (empty: none)")
# No list as the default: existing build trees would keep it, and never build a new folder's tests.
set(VORN_GW_COMMON_TEST_SUBSYSTEMS "" CACHE STRING
    "The folders below tests/ to build, which the thread sanitizer needs not all of (empty: all)")

# Object files are shared between the build trees of all presets where the compiler calls agree.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(VORN_GW_COMMON_CCACHE ccache)
    mark_as_advanced(VORN_GW_COMMON_CCACHE)
    if(VORN_GW_COMMON_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${VORN_GW_COMMON_CCACHE}")
    endif()
endif()
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
endif()
