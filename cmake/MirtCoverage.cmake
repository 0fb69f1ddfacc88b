# MirtCoverage.cmake: coverage for a whole CMake project with one setting:
#
#   cmake -DCMAKE_PROJECT_INCLUDE=/path/to/MirtCoverage.cmake ...
#
# (from the source tree's cmake/ folder, or from an installed tree's
# lib/cmake/mirt64/). Every C and C++ compile then goes through mirt-cc,
# which places the probes, and every link gets the runtime library.
# Through find_package(mirt64), the same comes as one call:
#
#   mirt64_coverage()                 every target defined after the call
#   mirt64_coverage(TARGETS a b)      only these targets
#
# Optional settings: MIRT_CC (the mirt-cc program; by default the one
# installed beside this file or built in the source tree, else from PATH),
# MIRT_STYLE (table, atomic, line or function), MIRT_HEADERS (none, or the
# folders whose headers get probes, separated by ":"), MIRT_STRICT (ON: a
# source that would be built without probes fails the build) and MIRT_LIB_DIR
# (the folder of libmirt64.so, or of mirt64.lib for Windows targets).
#
# CTest tests: every test that add_test defines after this file is read gets
# MIRT_TEST_NAME=<the test's name> in its environment, so that the report
# shows one test case per CTest test (MIRT_NAME_TESTS=OFF leaves tests
# alone); MIRT_EXIT_FILE=<pattern> gives each test that pattern for the file
# written at exit, with %p the process id, %h the computer's name and %e the
# program's name (for example ${CMAKE_BINARY_DIR}/coverage/%e-%p.out). Tests
# that gtest_discover_tests finds when CTest runs are not named; a later
# set_tests_properties(... ENVIRONMENT_MODIFICATION ...) replaces the names.
find_program(MIRT_CC mirt-cc
  HINTS "${CMAKE_CURRENT_LIST_DIR}/../../../bin" "${CMAKE_CURRENT_LIST_DIR}/../../../../bin"
        "${CMAKE_CURRENT_LIST_DIR}/../build/native/bin"
  DOC "the mirt-cc launcher")

function(mirt64_coverage)
  cmake_parse_arguments(PARSE_ARGV 0 _mirt "" "" "TARGETS")
  if(NOT MIRT_CC)
    message(FATAL_ERROR "MirtCoverage: mirt-cc not found; set MIRT_CC to its path")
  endif()
  set(_mirt_launcher "${MIRT_CC}")
  # Each setting that is set becomes mirt-cc's option of the same name.
  foreach(_mirt_setting STYLE HEADERS LIB_DIR)
    if(MIRT_${_mirt_setting})
      string(TOLOWER "${_mirt_setting}" _mirt_option)
      string(REPLACE "_" "-" _mirt_option "${_mirt_option}")
      list(APPEND _mirt_launcher "--mirt-${_mirt_option}=${MIRT_${_mirt_setting}}")
    endif()
  endforeach()
  if(MIRT_STRICT)
    list(APPEND _mirt_launcher "--mirt-strict")
  endif()
  if(_mirt_TARGETS)
    set_target_properties(${_mirt_TARGETS} PROPERTIES
      C_COMPILER_LAUNCHER "${_mirt_launcher}" CXX_COMPILER_LAUNCHER "${_mirt_launcher}"
      C_LINKER_LAUNCHER "${_mirt_launcher}" CXX_LINKER_LAUNCHER "${_mirt_launcher}")
    message(STATUS "MirtCoverage: ${_mirt_TARGETS} compiled and linked through ${_mirt_launcher}")
    return()
  endif()
  foreach(_mirt_lang C CXX)
    set(CMAKE_${_mirt_lang}_COMPILER_LAUNCHER "${_mirt_launcher}" PARENT_SCOPE)
    set(CMAKE_${_mirt_lang}_LINKER_LAUNCHER "${_mirt_launcher}" PARENT_SCOPE)
  endforeach()
  message(STATUS "MirtCoverage: compiling and linking through ${_mirt_launcher}")
endfunction()

# add_test defines the test, then gives it its name (and the exit file's
# pattern) in its environment. The arguments are passed on as bracket
# arguments, so that empty ones and ones holding ";" reach add_test as given.
get_property(_mirt_wrapped GLOBAL PROPERTY MIRT64_ADD_TEST_WRAPPED)
if((NOT DEFINED MIRT_NAME_TESTS OR MIRT_NAME_TESTS) AND NOT _mirt_wrapped
   AND CMAKE_VERSION VERSION_GREATER_EQUAL 3.22)
  set_property(GLOBAL PROPERTY MIRT64_ADD_TEST_WRAPPED 1)
  function(add_test)
    set(_mirt_call "_add_test(")
    if(ARGC GREATER 0)
      math(EXPR _mirt_last "${ARGC} - 1")
      foreach(_mirt_i RANGE ${_mirt_last})
        string(APPEND _mirt_call " [==[${ARGV${_mirt_i}}]==]")
      endforeach()
    endif()
    cmake_language(EVAL CODE "${_mirt_call})")
    set(_mirt_test "${ARGV0}")
    if(_mirt_test STREQUAL "NAME")
      set(_mirt_test "${ARGV1}")
    endif()
    if(_mirt_test STREQUAL "" OR NOT TEST "${_mirt_test}")
      return()
    endif()
    set(_mirt_env "MIRT_TEST_NAME=set:${_mirt_test}")
    if(MIRT_EXIT_FILE)
      list(APPEND _mirt_env "MIRT_EXIT_FILE=set:${MIRT_EXIT_FILE}")
    endif()
    set_property(TEST "${_mirt_test}" APPEND PROPERTY ENVIRONMENT_MODIFICATION ${_mirt_env})
  endfunction()
endif()

# Included as the project include: the whole project.
if(NOT MIRT64_COVERAGE_FUNCTION_ONLY)
  mirt64_coverage()
endif()
