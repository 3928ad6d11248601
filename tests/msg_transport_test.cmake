add_dependencies(${name} vos-hubd)
