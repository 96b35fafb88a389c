# SPDX-License-Identifier: MIT

# Compiles `source` with `compiler` and `includes`: it must fail, with one error that matches `expected`.
execute_process(
    COMMAND "${CMAKE_COMMAND}" -E env LC_ALL=C "${compiler}" -std=c++20 "-I${includes}" -fsyntax-only
            "${source}"
    RESULT_VARIABLE result ERROR_VARIABLE report)
if(result EQUAL 0)
    message(FATAL_ERROR "${source} compiles")
endif()
string(REGEX MATCHALL "[^\n]* error: [^\n]*" errors "${report}")
list(LENGTH errors count)
if(NOT count EQUAL 1 OR NOT errors MATCHES "${expected}")
    message(FATAL_ERROR "expected one error that matches \"${expected}\":\n${report}")
endif()
