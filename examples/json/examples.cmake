vorn_add_example(json compare_settings)
vorn_add_example(json read_settings)
vorn_add_example(json write_settings)
