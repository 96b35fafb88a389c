vorn_add_benchmark(binding SOURCES binding.cpp)
