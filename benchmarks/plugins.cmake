vorn_add_benchmark(plugins SOURCES plugins.cpp)

# A plug-in with one cipher that costs nothing, so that the look-up is what is measured.
add_library(plugins_bench_module MODULE plugins_module.cpp)
target_link_libraries(plugins_bench_module PRIVATE vorn::gw-common)
vorn_warnings(plugins_bench_module)
target_compile_definitions(plugins_bench PRIVATE
    PLUGIN_PATH="$<TARGET_FILE:plugins_bench_module>")
add_dependencies(plugins_bench plugins_bench_module)
