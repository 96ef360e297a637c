# Debian packages, for `cpack` in a build of the preset `package`: libvelbgp0.N, libvelbgp-dev, velbgp, and what a debugger
# needs of the first and the last (-dbgsym). `scripts/package` makes them. Their version has no revision: they come from this
# tree, not from a packaging of it. Each has the licence and the changelog where Debian wants them.
set(VELBGP_MAINTAINER "VelBgp maintainers <maintainers@velbgp.example>" CACHE STRING "Who answers for the packages")

set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(runtimePackage libvelbgp${soversion})
set(developmentPackage libvelbgp-dev)
set(toolPackage velbgp)
set(sameRuntime "${runtimePackage} (= ${PROJECT_VERSION})")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velbgp)
set(CPACK_PACKAGE_CONTACT "${VELBGP_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package/compress.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package/finish.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own

# velbgp_deb(COMPONENT SECTION MULTIARCH DEPENDS DESCRIPTION). This CPack knows no field Multi-Arch, so it is a second
# line of the field before it.
macro(velbgp_deb component section multiarch depends description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}Package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${section}\nMulti-Arch: ${multiarch}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}")
endmacro()
velbgp_deb(runtime libs same "" "Community types for a BGP routing agent
Decodes, interns, prints, matches and sends BGP communities: standard (RFC
1997), extended (RFC 4360), IPv6 address specific (RFC 5701) and large
(RFC 8092). This package holds the shared library.")
velbgp_deb(development libdevel same "${sameRuntime}, libboost1.81-dev"
  "Community types for a BGP routing agent - development files
What programs are compiled with that use libVelBgp: C++20 headers, the CMake
package VelBgp and the pkg-config file velbgp. The headers need Boost 1.81,
which is not Debian's default version.")
velbgp_deb(tool net foreign "${sameRuntime}" "Command-line tool for BGP communities and MRT files
Decodes communities and lists of them, asks recorded tables and updates who
carries what, and reads the stores that routing agents publish.")
foreach(binary IN ITEMS RUNTIME TOOL)
  set(CPACK_DEBIAN_${binary}_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_${binary}_DEBUGINFO_PACKAGE ON)
endforeach()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
# dpkg runs ldconfig itself, when asked by a trigger.
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/shlibs.in package/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/package/triggers ${CMAKE_CURRENT_BINARY_DIR}/package/shlibs)

# CHANGELOG.md as dpkg reads it.
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/package/changelog)
execute_process(COMMAND awk -v "version=${PROJECT_VERSION}" -v "maintainer=${VELBGP_MAINTAINER}"
  -f ${CMAKE_CURRENT_LIST_DIR}/package/changelog.awk ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${changelog} COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN ITEMS runtime development tool)
  install(FILES ${changelog} ${CMAKE_CURRENT_LIST_DIR}/package/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}Package} COMPONENT ${component})
endforeach()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_LIST_DIR}/package/changelog.awk)
include(CPack)
