# SPDX-License-Identifier: MIT

# 64-bit atomics are library calls on lesser 32-bit cores.
include(CheckCXXSourceCompiles)
set(vorn_atomic_test "
#include <atomic>
#include <cstdint>
std::atomic<std::uint64_t> value;
int main() { return static_cast<int>(value.fetch_add(1)); }")
check_cxx_source_compiles("${vorn_atomic_test}" VORN_ATOMICS_BUILT_IN)
set(VORN_ATOMIC_LIBRARY "")
if(NOT VORN_ATOMICS_BUILT_IN)
    set(CMAKE_REQUIRED_LIBRARIES atomic)
    check_cxx_source_compiles("${vorn_atomic_test}" VORN_ATOMICS_IN_LIBRARY)
    unset(CMAKE_REQUIRED_LIBRARIES)
    if(NOT VORN_ATOMICS_IN_LIBRARY)
        message(FATAL_ERROR "64-bit atomics do not link, not even with -latomic")
    endif()
    set(VORN_ATOMIC_LIBRARY atomic)
endif()
