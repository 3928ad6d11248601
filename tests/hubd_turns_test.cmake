target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools/hubd/kernel.cpp ${PROJECT_SOURCE_DIR}/tools/hubd/process_record.cpp
    ${PROJECT_SOURCE_DIR}/tools/hubd/turns.cpp ${PROJECT_SOURCE_DIR}/tools/hubd/memory.cpp
    ${PROJECT_SOURCE_DIR}/tools/hubd/send_queue.cpp)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools/hubd ${PROJECT_SOURCE_DIR}/tools)
