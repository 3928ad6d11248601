# VOS_SANITIZE applies to everything, so that library, tools and tests share one runtime.
if(VOS_SANITIZE)
    add_compile_options(-fsanitize=${VOS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${VOS_SANITIZE})
endif()
