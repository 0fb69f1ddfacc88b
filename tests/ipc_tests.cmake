# Collection tests: unit tests of names, events and data files, and end-to-end
# tests with a host and clients as real processes.
target_sources(unit_tests PRIVATE unit/ipc_test.cpp)
if(NOT WIN32)
  target_sources(unit_tests PRIVATE unit/posix/runtime_folder_test.cpp)
endif()

# Host and clients use the fixed exit file and, under Wine, the one pipe name.
add_executable(ipc_e2e_tests e2e/ipc_e2e_test.cpp)
target_link_libraries(ipc_e2e_tests PRIVATE mirt_test_support GTest::gtest_main)
add_dependencies(ipc_e2e_tests runtime_probe probe_app mirt64)
mirt_discover(ipc_e2e_tests PROPERTIES RESOURCE_LOCK fixed_files)

# Collection under load for a minute. On POSIX its pipe and events live in a
# private folder, so it runs beside the other tests, started first (its cost)
# so that they share its minute; under Wine it shares the one pipe name and
# runs alone.
add_executable(collection_load_tests e2e/collection_load_test.cpp)
target_link_libraries(collection_load_tests PRIVATE mirt_test_support GTest::gtest_main)
add_dependencies(collection_load_tests probe_app mirt64)
if(WIN32)
  mirt_discover(collection_load_tests PROPERTIES RESOURCE_LOCK fixed_files TIMEOUT 240)
else()
  mirt_discover(collection_load_tests PROPERTIES COST 1000 TIMEOUT 240)
endif()

# Another local user plants links, FIFOs and files where the runtime keeps its
# files (POSIX, as root; skipped otherwise). It plants at the fixed paths.
if(NOT WIN32)
  add_executable(local_attacker_tests e2e/posix/local_attacker_test.cpp)
  target_include_directories(local_attacker_tests PRIVATE e2e)
  target_link_libraries(local_attacker_tests PRIVATE mirt_objects mirt_test_support GTest::gtest_main)
  add_dependencies(local_attacker_tests probe_app mirt64)
  mirt_discover(local_attacker_tests PROPERTIES RESOURCE_LOCK fixed_files)
endif()

# The library at the hard moments of a process's life (POSIX): exit() while
# threads count, unloading, fork, a full temporary folder.
if(NOT WIN32)
  add_executable(lifecycle_app e2e/posix/lifecycle_app.cpp)
  target_link_libraries(lifecycle_app PRIVATE mirt64 mirt_test_support Threads::Threads)
  add_executable(unload_app e2e/posix/unload_app.cpp)
  target_link_libraries(unload_app PRIVATE mirt_test_support ${CMAKE_DL_LIBS})
  add_executable(lifecycle_tests e2e/posix/lifecycle_test.cpp)
  target_include_directories(lifecycle_tests PRIVATE e2e)
  target_link_libraries(lifecycle_tests PRIVATE mirt_test_support GTest::gtest_main)
  add_dependencies(lifecycle_tests lifecycle_app unload_app mirt64)
  target_compile_definitions(lifecycle_tests PRIVATE MIRT_LIBRARY="$<TARGET_FILE:mirt64>")
  mirt_discover(lifecycle_tests PROPERTIES RESOURCE_LOCK fixed_files)
endif()

# Hostile registrations and connections at the host's pipe.
add_executable(hostile_client e2e/hostile_client.cpp)
target_link_libraries(hostile_client PRIVATE mirt_objects)
add_executable(host_guard_tests e2e/host_guard_test.cpp)
target_link_libraries(host_guard_tests PRIVATE mirt_test_support GTest::gtest_main)
add_dependencies(host_guard_tests hostile_client runtime_probe probe_app mirt64)
mirt_discover(host_guard_tests PROPERTIES RESOURCE_LOCK fixed_files)
