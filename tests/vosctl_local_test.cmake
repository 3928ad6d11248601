add_dependencies(${name} vosctl)
