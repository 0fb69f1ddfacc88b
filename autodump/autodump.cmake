# Auto-dump and the system services it needs, added to the runtime's objects.
target_sources(mirt_objects PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/autodump.cpp
  ${CMAKE_SOURCE_DIR}/platform/${MIRT_OS}/profile.cpp
  ${CMAKE_SOURCE_DIR}/platform/${MIRT_OS}/timer.cpp)
if(WIN32)
  # GetFileVersionInfoA and friends.
  target_link_libraries(mirt_objects PUBLIC version)
endif()
