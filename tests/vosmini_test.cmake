if(NOT TARGET vosmini)
    vos_test_left_out("VOS_BUILD_MINI is OFF")
endif()
add_dependencies(${name} vosmini vos-hubd)
