if(VOS_WITH_ANDROID_LOG)
    target_compile_definitions(${name} PRIVATE VOS_WITH_ANDROID_LOG=1)
endif()
