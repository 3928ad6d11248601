if(VOS_SANITIZE OR VOS_COVERAGE)
    target_compile_definitions(prctl_test PRIVATE VOS_START_BY_FORK)
endif()
