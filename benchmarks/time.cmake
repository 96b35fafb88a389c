find_package(Threads REQUIRED)
vorn_add_benchmark(time SOURCES time.cpp)

find_package(Boost QUIET)
if(Boost_FOUND)
    target_link_libraries(time_bench PRIVATE Boost::boost Threads::Threads)
    target_compile_definitions(time_bench PRIVATE VORN_PEER_BOOST)
endif()
