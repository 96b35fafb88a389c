# SPDX-License-Identifier: MIT

# vorn_warnings(TARGET): the warning set of our own code. Errors only on request, because users
# build with newer compilers than ours.
function(vorn_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
        -Wold-style-cast -Wformat=2 -Wvla)
    if(VORN_GW_COMMON_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
