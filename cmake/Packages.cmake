# SPDX-License-Identifier: MIT
# Packages, by cpack: -G DEB makes libnalsmith1, libnalsmith-dev and nalsmith, and cpack --config
# CPackSourceConfig.cmake the archive of the sources. scripts/package makes them all.
# Packages name who answers for them: whoever builds them for others says so here.
set(NALSMITH_MAINTAINER "The nalsmith authors <maintainers@nalsmith.invalid>" CACHE STRING
  "Name and address in the packages")
set(CPACK_PACKAGE_NAME nalsmith)
set(CPACK_PACKAGE_CONTACT ${NALSMITH_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_CURRENT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_SOURCE_GENERATOR TXZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME nalsmith-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "^${CMAKE_CURRENT_SOURCE_DIR}/build/" "/\\\\.cache/" "/__pycache__/"
  "/compile_commands\\\\.json$")

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL Runtime Development)
if(TARGET nalsmith-host)
  list(APPEND CPACK_COMPONENTS_ALL Host)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(NALSMITH_DEBIAN_LIBRARY libnalsmith${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${NALSMITH_DEBIAN_LIBRARY})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "The shared library, for programs that were built with it.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnalsmith-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${NALSMITH_DEBIAN_LIBRARY} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "The headers of the library, and what CMake and pkg-config need to find it.")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME nalsmith)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION video)
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "${NALSMITH_DEBIAN_LIBRARY} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_HOST_DESCRIPTION "A program on the library: describes a stream, lists its access units, NAL
units and parameter sets, finds breaks in it, and puts user data into it,
shows it and removes it.")

# What a Debian package has besides the installed files.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/complete.cmake)
set(CPACK_NALSMITH_DEBIAN_FOLDER ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian)
include(CPack)
