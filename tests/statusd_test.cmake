add_dependencies(${name} vos-hubd vosctl example_plugin example_statusd example_statusd_cpp)
