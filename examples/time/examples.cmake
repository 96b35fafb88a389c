vorn_add_example(time keep_deadline)
