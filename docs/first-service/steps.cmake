# The steps of docs/first-service.md: compiled as the document has them, and run.
set(first_service_steps "${CMAKE_CURRENT_LIST_DIR}")
foreach(step IN ITEMS step1 step2 step3 step4)
    add_executable(first-service-${step} "${first_service_steps}/${step}.cpp")
    target_include_directories(first-service-${step} PRIVATE "${PROJECT_SOURCE_DIR}/examples/service")
    target_link_libraries(first-service-${step} PRIVATE vorn::gw-common)
    vorn_parse_headers_once(first-service-${step})
    vorn_warnings(first-service-${step})
endforeach()

if(VORN_GW_COMMON_TESTS)
    foreach(file IN ITEMS Check.h Settings.h first-service.json first-service.service main.cpp start.h)
        list(APPEND quoted "${PROJECT_SOURCE_DIR}/examples/service/${file}")
    endforeach()
    foreach(file IN ITEMS CMakeLists.txt step1.cpp step2.cpp step3.cpp step4.cpp)
        list(APPEND quoted "${first_service_steps}/${file}")
    endforeach()
    foreach(file IN LISTS quoted)
        cmake_path(GET file FILENAME name)
        add_test(NAME docs.first-service.quotes_${name}
            COMMAND ${CMAKE_COMMAND} "-Dexample=${file}"
                "-Ddocument=${PROJECT_SOURCE_DIR}/docs/first-service.md"
                -P "${PROJECT_SOURCE_DIR}/cmake/CheckQuoted.cmake")
    endforeach()

    # What the document says about running them.
    add_test(NAME docs.first-service.steps_run
        COMMAND sh "${first_service_steps}/run-steps" $<TARGET_FILE_DIR:first-service-step1>
                ${CMAKE_CROSSCOMPILING_EMULATOR})
    set_tests_properties(docs.first-service.steps_run PROPERTIES TIMEOUT 120)
endif()
