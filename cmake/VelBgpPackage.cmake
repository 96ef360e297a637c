# Debian packages, for `cpack` in a build of the preset `package`: libvelbgp0.N, libvelbgp-dev, velbgp. `scripts/package`
# makes them. Each has the licence and the changelog where Debian wants them.
set(VELBGP_MAINTAINER "VelBgp maintainers <maintainers@velbgp.example>" CACHE STRING "Who answers for the packages")

set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(runtimePackage libvelbgp${soversion})
set(developmentPackage libvelbgp-dev)
set(toolPackage velbgp)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velbgp)
set(CPACK_PACKAGE_CONTACT "${VELBGP_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package/compress.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(sameRuntime "${runtimePackage} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)

# What dpkg shows as the one line is the project's description.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Decodes, interns, prints, matches and sends BGP communities: standard (RFC
1997), extended (RFC 4360), IPv6 address specific (RFC 5701) and large
(RFC 8092). This package holds the shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtimePackage})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/package/triggers)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "What programs are compiled with that use libVelBgp: C++20 headers, the CMake
package VelBgp and the pkg-config file velbgp. The headers need Boost 1.81,
which is not Debian's default version.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${developmentPackage})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${sameRuntime}, libboost1.81-dev")

set(CPACK_COMPONENT_TOOL_DESCRIPTION "Decodes communities and lists of them, asks recorded tables and updates who
carries what, and reads the stores that routing agents publish.")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${toolPackage})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${sameRuntime}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# One changelog for people, one as dpkg reads it, dated as the newest release there.
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md released REGEX "^## ${PROJECT_VERSION} ")
string(REGEX MATCH "[0-9]+-[0-9]+-[0-9]+" releaseDay "${released}")
if(NOT releaseDay)
  message(FATAL_ERROR "CHANGELOG.md has no dated section for ${PROJECT_VERSION}")
endif()
execute_process(COMMAND date -R -u -d ${releaseDay} OUTPUT_VARIABLE releaseDate OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/changelog.in package/changelog.Debian @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md package/changelog COPYONLY)
foreach(component IN ITEMS runtime development tool)
  install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/package/changelog.Debian
    ${CMAKE_CURRENT_BINARY_DIR}/package/changelog
    ${CMAKE_CURRENT_LIST_DIR}/package/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}Package} COMPONENT ${component})
endforeach()
include(CPack)
