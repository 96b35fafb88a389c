# SPDX-License-Identifier: MIT

# One value for the whole build tree: library, tests and examples must agree.
if(VORN_GW_COMMON_SANITIZE)
    add_compile_options(-fsanitize=${VORN_GW_COMMON_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VORN_GW_COMMON_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # g++ 12 reports false positives in libstdc++ headers when sanitizers change its inlining.
        add_compile_options(-Wno-maybe-uninitialized -Wno-tsan)
        if(VORN_GW_COMMON_SANITIZE MATCHES "thread")
            add_compile_options(-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
        endif()
    endif()
endif()
