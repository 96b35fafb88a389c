# example_plugin(NAME): builds <name>.cpp as a plug-in.
function(example_plugin name)
    add_library(example_plugins_${name} MODULE plugins/${name}.cpp)
    target_link_libraries(example_plugins_${name} PRIVATE vorn::gw-common)
    # So that closing the library unloads it.
    target_compile_options(example_plugins_${name} PRIVATE
        $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    vorn_warnings(example_plugins_${name})
endfunction()

example_plugin(greeting_plugin)
example_plugin(reversing_plugin)

set(configuration "${CMAKE_CURRENT_BINARY_DIR}/plugins_$<CONFIG>.conf")
file(GENERATE OUTPUT "${configuration}" CONTENT
"# path, then arguments
\"$<TARGET_FILE:example_plugins_greeting_plugin>\" \"two words\"
/no/such/plugin.so
")

vorn_add_example(plugins load_plugin)
vorn_add_example(plugins load_configured_plugins)
vorn_add_example(plugins keep_secret)
vorn_add_example(plugins find_cipher)
target_compile_definitions(example_plugins_find_cipher PRIVATE
    PLUGIN_PATH="$<TARGET_FILE:example_plugins_reversing_plugin>")
add_dependencies(example_plugins_find_cipher example_plugins_reversing_plugin)
target_compile_definitions(example_plugins_load_plugin PRIVATE
    PLUGIN_PATH="$<TARGET_FILE:example_plugins_greeting_plugin>")
target_compile_definitions(example_plugins_load_configured_plugins PRIVATE
    CONFIGURATION_PATH="${configuration}")
foreach(program IN ITEMS load_plugin load_configured_plugins)
    add_dependencies(example_plugins_${program} example_plugins_greeting_plugin)
endforeach()

# A cipher for real use; left out where libsodium is not installed.
find_package(PkgConfig REQUIRED)
pkg_check_modules(VORN_LIBSODIUM QUIET IMPORTED_TARGET GLOBAL libsodium)
if(TARGET PkgConfig::VORN_LIBSODIUM)
    add_library(secretbox_plugin MODULE plugins/secretbox_plugin.cpp)
    set_target_properties(secretbox_plugin PROPERTIES PREFIX "")
    target_link_libraries(secretbox_plugin PRIVATE vorn::gw-common PkgConfig::VORN_LIBSODIUM)
    target_compile_options(secretbox_plugin PRIVATE
        $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    vorn_warnings(secretbox_plugin)
endif()
