add_dependencies(${name} vos-hubd vosctl example_statusd)
