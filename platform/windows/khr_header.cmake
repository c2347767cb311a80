# The GL headers need KHR/khrplatform.h. Where the cross compiler's own folder lacks it, the host's copy, which is the same for
# every platform, is put into a folder of the build tree that holds nothing else.
if(NOT EXISTS ${CMAKE_FIND_ROOT_PATH}/include/KHR/khrplatform.h)
  file(COPY /usr/include/KHR/khrplatform.h DESTINATION ${CMAKE_BINARY_DIR}/khr_header/KHR)
  include_directories(SYSTEM ${CMAKE_BINARY_DIR}/khr_header)
endif()
