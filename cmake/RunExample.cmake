# SPDX-License-Identifier: MIT

# Runs `program` (a list: emulator, path) and compares its output with the file `expected`, when
# there is one.
execute_process(COMMAND ${program} RESULT_VARIABLE result OUTPUT_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "exit status ${result}; output:\n${output}")
endif()
if(EXISTS "${expected}")
    file(READ "${expected}" text)
    if(NOT output STREQUAL text)
        message(FATAL_ERROR "printed:\n${output}\nexpected:\n${text}")
    endif()
endif()
