# Install rules: the runtime, its header, a CMake package (find_package(mirt64)
# gives the imported target mirt64::mirt64 and mirt64_coverage()), the
# coverage module and a pkg-config file. The tools install themselves from
# tools/report and tools/instrument.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(MIRT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/mirt64)

install(TARGETS mirt64 EXPORT mirt64Targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/mirt64.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT mirt64Targets NAMESPACE mirt64:: DESTINATION ${MIRT_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/mirt64Config.cmake.in
  ${CMAKE_BINARY_DIR}/mirt64Config.cmake INSTALL_DESTINATION ${MIRT_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/mirt64ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/mirt64Config.cmake ${CMAKE_BINARY_DIR}/mirt64ConfigVersion.cmake
  DESTINATION ${MIRT_CMAKE_DIR})
# The coverage module beside the package: it finds the installed mirt-cc.
if(MIRT_INSTRUMENT_BUILT)
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/MirtCoverage.cmake DESTINATION ${MIRT_CMAKE_DIR})
endif()

# The pkg-config file finds its prefix from its own place (${pcfiledir}), so
# that the tree works wherever `cmake --install --prefix` puts it.
file(RELATIVE_PATH MIRT_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" MIRT_PC_TO_PREFIX "${MIRT_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/mirt64.pc.in ${CMAKE_BINARY_DIR}/mirt64.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/mirt64.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The installed tree, used the two ways a program outside this project would.
# The example program writes the runtime's fixed files.
# A sanitized library cannot be loaded by the plain programs this test builds.
if(MIRT_BUILD_TESTS AND NOT WIN32 AND NOT MIRT_SANITIZE)
  add_test(NAME installed_tree
    COMMAND ${PROJECT_SOURCE_DIR}/tests/install/check_install.sh ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR}
            $<BOOL:${MIRT_INSTRUMENT_BUILT}>)
  set_tests_properties(installed_tree PROPERTIES RESOURCE_LOCK fixed_files TIMEOUT 300)
endif()
