vorn_add_benchmark(arguments SOURCES arguments.cpp)
