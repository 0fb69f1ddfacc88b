# MirtCoverage.cmake: coverage for a whole CMake project with one setting:
#
#   cmake -DCMAKE_PROJECT_INCLUDE=/path/to/mirt64/cmake/MirtCoverage.cmake ...
#
# Every C and C++ compile then goes through mirt-cc, which places the probes,
# and every link gets the runtime library. Optional settings: MIRT_CC (the
# mirt-cc program; by default the one built beside this file, else from PATH),
# MIRT_STYLE (table, line or function), MIRT_HEADERS (none, or the folders
# whose headers get probes, separated by ":"), MIRT_STRICT (ON: a source
# that would be built without probes fails the build) and MIRT_LIB_DIR (the folder of
# libmirt64.so, or of mirt64.lib for Windows targets).
find_program(MIRT_CC mirt-cc HINTS "${CMAKE_CURRENT_LIST_DIR}/../build/native/bin" DOC "the mirt-cc launcher")
if(NOT MIRT_CC)
  message(FATAL_ERROR "MirtCoverage: mirt-cc not found; set MIRT_CC to its path")
endif()
set(_mirt_launcher "${MIRT_CC}")
if(MIRT_STYLE)
  list(APPEND _mirt_launcher "--mirt-style=${MIRT_STYLE}")
endif()
if(MIRT_HEADERS)
  list(APPEND _mirt_launcher "--mirt-headers=${MIRT_HEADERS}")
endif()
if(MIRT_STRICT)
  list(APPEND _mirt_launcher "--mirt-strict")
endif()
if(MIRT_LIB_DIR)
  list(APPEND _mirt_launcher "--mirt-lib-dir=${MIRT_LIB_DIR}")
endif()
foreach(_mirt_lang C CXX)
  set(CMAKE_${_mirt_lang}_COMPILER_LAUNCHER "${_mirt_launcher}")
  set(CMAKE_${_mirt_lang}_LINKER_LAUNCHER "${_mirt_launcher}")
endforeach()
message(STATUS "MirtCoverage: compiling and linking through ${_mirt_launcher}")
