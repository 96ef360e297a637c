# One target per folder. velbgp_component(Name [ROOT dir] [HEADERS ...] [SOURCES ...] [USES ...] [LINKS ...]) makes the
# static, position-independent library velbgp_<Name>: the shared library is put together from the objects of all of
# them, and test programs link just the ones that they need, hidden symbols included. USES names the folders whose
# headers this one may include, LINKS what it needs from outside, ROOT the folder that its includes are written from.
set(VELBGP_COMPONENTS "" CACHE INTERNAL "")
foreach(list IN ITEMS HEADERS PLATFORM_HEADERS)
  set_property(GLOBAL PROPERTY VELBGP_ALL_${list} "")
endforeach()

add_library(velbgp_options INTERFACE)
target_compile_features(velbgp_options INTERFACE cxx_std_20)
target_compile_options(velbgp_options INTERFACE -Wall -Wextra -Wpedantic
  $<$<BOOL:${VELBGP_WARNINGS_AS_ERRORS}>:-Werror>)
# What is shipped names no folder of the machine that built it; to a debugger sources are found from the tree's root.
target_compile_options(velbgp_options INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
if(VELBGP_SANITIZE)
  target_compile_options(velbgp_options INTERFACE -fsanitize=${VELBGP_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(velbgp_options INTERFACE -fsanitize=${VELBGP_SANITIZE})
endif()

# Who installs what: users get the X.h and the tables that they read, never an XImpl.h.
function(velbgp_publish_headers root)
  set(public ${ARGN})
  list(FILTER public EXCLUDE REGEX "Impl\\.h$")
  list(TRANSFORM public PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  if(root STREQUAL "platform")
    set_property(GLOBAL APPEND PROPERTY VELBGP_ALL_PLATFORM_HEADERS ${public})
  else()
    set_property(GLOBAL APPEND PROPERTY VELBGP_ALL_HEADERS ${public})
  endif()
endfunction()

function(velbgp_component name)
  cmake_parse_arguments(arg "" "ROOT" "HEADERS;SOURCES;USES;LINKS" ${ARGN})
  set(target velbgp_${name})
  if(arg_SOURCES)
    set(scope PUBLIC)
    add_library(${target} STATIC ${arg_SOURCES})
    set_target_properties(${target} PROPERTIES
      CXX_EXTENSIONS OFF
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      LINKER_LANGUAGE CXX)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velbgp_options>)
    set(VELBGP_COMPONENTS ${VELBGP_COMPONENTS} ${target} CACHE INTERNAL "")
  else()
    set(scope INTERFACE)
    add_library(${target} INTERFACE)
  endif()

  # Tables of rows are read with macros defined, so they cannot be verified to compile alone.
  set(tables ${arg_HEADERS})
  list(FILTER tables INCLUDE REGEX "\\.def$")
  set(headers ${arg_HEADERS})
  list(FILTER headers EXCLUDE REGEX "\\.def$")
  set_target_properties(${target} PROPERTIES INTERFACE_HEADER_SETS_TO_VERIFY HEADERS)
  target_sources(${target} ${scope}
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/${arg_ROOT} FILES ${headers}
    FILE_SET tables TYPE HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/${arg_ROOT} FILES ${tables})
  velbgp_publish_headers("${arg_ROOT}" ${arg_HEADERS})

  list(TRANSFORM arg_USES PREPEND velbgp_)
  target_compile_features(${target} ${scope} cxx_std_20)
  target_link_libraries(${target} ${scope} Boost::headers ${arg_USES} ${arg_LINKS})
endfunction()
