# Auto-dump tests, added to the suite's executables: unit tests of the portable logic and
# of each system's timer, and end-to-end tests with host programs.
if(WIN32)
  set(mirt_timer_test thread_timer_test.cpp)
else()
  set(mirt_timer_test timer_thread_test.cpp)
endif()

target_sources(unit_tests PRIVATE
  unit/autodump_test.cpp
  unit/profile_test.cpp
  unit/timer_test.cpp
  unit/${MIRT_OS}/${mirt_timer_test})

# A program on the runtime's objects: auto-dump with its interval in
# milliseconds, the role chosen, raw texts to the host's pipe. On Windows it
# carries the file version 3.1.7.42.
add_executable(runtime_probe programs/runtime_probe.cpp)
if(WIN32)
  enable_language(RC)
  target_sources(runtime_probe PRIVATE programs/runtime_probe.rc)
endif()
target_link_libraries(runtime_probe PRIVATE mirt_objects mirt_test_support)

target_sources(e2e_tests PRIVATE e2e/autodump_e2e_test.cpp)
if(WIN32)
  target_sources(e2e_tests PRIVATE e2e/windows/autodump_version_test.cpp)
endif()
add_dependencies(e2e_tests runtime_probe)
