vorn_add_example(readme hello)

if(VORN_GW_COMMON_TESTS)
    add_test(NAME examples.readme.is_quoted_in_the_readme
        COMMAND ${CMAKE_COMMAND}
            "-Dexample=${CMAKE_CURRENT_LIST_DIR}/hello.cpp" "-Ddocument=${PROJECT_SOURCE_DIR}/README.md"
            -P "${PROJECT_SOURCE_DIR}/cmake/CheckQuoted.cmake")
endif()
