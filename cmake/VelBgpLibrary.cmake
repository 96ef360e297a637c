# libVelBgp.so: every folder's objects in one shared library; only what is marked VELBGP_EXPORT leaves it (velbgp.map).
# With BUILD_SHARED_LIBS=OFF libVelBgp.a, which leaves LMDB and RE2 to whoever links it.
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  add_library(VelBgp STATIC)
else()
  add_library(VelBgp SHARED)
endif()
add_library(VelBgp::VelBgp ALIAS VelBgp)
# Before 1.0 each minor version may break the ABI, so it is part of the library's name.
set_target_properties(VelBgp PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  LINKER_LANGUAGE CXX
  VERIFY_INTERFACE_HEADER_SETS OFF)  # the folders' own targets do it
foreach(component IN LISTS VELBGP_COMPONENTS)
  target_sources(VelBgp PRIVATE $<TARGET_OBJECTS:${component}>)
endforeach()

get_property(headers GLOBAL PROPERTY VELBGP_ALL_HEADERS)
get_property(platformHeaders GLOBAL PROPERTY VELBGP_ALL_PLATFORM_HEADERS)
target_sources(VelBgp PUBLIC
  FILE_SET headers TYPE HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers}
  FILE_SET platformHeaders TYPE HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/platform FILES ${platformHeaders})

# What the folders need from outside, the library needs; a static one's users link it themselves.
foreach(component IN LISTS VELBGP_COMPONENTS)
  get_target_property(linked ${component} LINK_LIBRARIES)
  list(FILTER linked EXCLUDE REGEX "velbgp_|^Boost::headers$")
  list(APPEND links ${linked})
endforeach()
list(REMOVE_DUPLICATES links)
target_compile_features(VelBgp PUBLIC cxx_std_20)
target_link_libraries(VelBgp
  PUBLIC Boost::headers Threads::Threads
  PRIVATE $<BUILD_INTERFACE:velbgp_options>)
get_target_property(libraryType VelBgp TYPE)
if(libraryType STREQUAL "STATIC_LIBRARY")
  target_link_libraries(VelBgp PRIVATE ${links})
  return()
endif()
target_link_libraries(VelBgp PRIVATE "$<BUILD_INTERFACE:${links}>")
target_link_options(VelBgp PRIVATE -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/velbgp.map)
set_target_properties(VelBgp PROPERTIES LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/velbgp.map)
# Sanitizers leave their runtime to the program, so only without them can the library be asked to be complete.
if(NOT VELBGP_SANITIZE)
  target_link_options(VelBgp PRIVATE -Wl,--no-undefined)
endif()
