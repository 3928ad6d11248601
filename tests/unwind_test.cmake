if(NOT VOS_WITH_UNWIND AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    vos_test_left_out("VOS_WITH_UNWIND is OFF")
endif()
