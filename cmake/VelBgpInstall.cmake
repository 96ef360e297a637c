# What `cmake --install` lays out: library, headers (include/velbgp/VelBgp/..., include/velbgp/Tyr/...), the package for
# find_package(VelBgp) and the one for pkg-config. The tool installs itself, see tools/velbgp/CMakeLists.txt. In three
# components, which become three Debian packages: runtime, development, tool.
include(CMakePackageConfigHelpers)

set(headerDir ${CMAKE_INSTALL_INCLUDEDIR}/velbgp)
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/VelBgp)

install(TARGETS VelBgp EXPORT VelBgpTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET headers DESTINATION ${headerDir} COMPONENT development
  FILE_SET platformHeaders DESTINATION ${headerDir} COMPONENT development
  INCLUDES DESTINATION ${headerDir})  # for a CMake before 3.23, which knows no file sets
install(EXPORT VelBgpTargets NAMESPACE VelBgp:: DESTINATION ${packageDir} COMPONENT development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VelBgpConfig.cmake.in VelBgpConfig.cmake
  INSTALL_DESTINATION ${packageDir})
# Before 1.0 each minor version may break the interface.
write_basic_package_version_file(VelBgpConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelBgpConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/VelBgpConfigVersion.cmake
  DESTINATION ${packageDir} COMPONENT development)

# Relative to the file itself, so that the installed tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig OUTPUT_VARIABLE pcPrefix)
if(libraryType STREQUAL "STATIC_LIBRARY")
  set(pcRequires "Requires: lmdb re2\n")
  set(pcLibs " -lboost_json")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/velbgp.pc.in velbgp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/velbgp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
