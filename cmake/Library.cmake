# SPDX-License-Identifier: MIT
# The library, shared or static, from objects that are compiled once. As a static library it shows nothing of its
# own to the users of a shared library that it becomes part of: its users are told so by NALSMITH_STATIC.
if(NALSMITH_DEVELOPER AND NOT NALSMITH_SHARED)
  message(FATAL_ERROR "The tests look at the shared library: NALSMITH_DEVELOPER needs NALSMITH_SHARED")
endif()

if(NALSMITH_SHARED)
  set(NALSMITH_EXPORTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/nalsmith.map)
  add_library(nalsmith SHARED $<TARGET_OBJECTS:nalsmith_objects>)
  # When the second changes is said in docs/abi.md.
  set_target_properties(nalsmith PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${NALSMITH_EXPORTS})
  target_link_options(nalsmith PRIVATE LINKER:--version-script=${NALSMITH_EXPORTS})
  nalsmith_harden_linked(nalsmith)
else()
  add_library(nalsmith STATIC $<TARGET_OBJECTS:nalsmith_objects>)
  target_compile_definitions(nalsmith_objects PUBLIC NALSMITH_STATIC)
  target_compile_definitions(nalsmith INTERFACE NALSMITH_STATIC)
endif()

add_library(nalsmith::nalsmith ALIAS nalsmith)
set_target_properties(nalsmith PROPERTIES LINKER_LANGUAGE CXX)
target_compile_features(nalsmith INTERFACE cxx_std_17)
target_include_directories(nalsmith INTERFACE $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>)
