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

# Included as the project include: the whole project.
if(NOT MIRT64_COVERAGE_FUNCTION_ONLY)
  mirt64_coverage()
endif()
