# The target refuses memory to the library.
target_link_options(${name} PRIVATE -Wl,--wrap=malloc)
