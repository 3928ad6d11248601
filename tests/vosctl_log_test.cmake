add_dependencies(${name} vosctl vos-hubd)
