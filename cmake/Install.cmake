# SPDX-License-Identifier: MIT
# What is installed where, in three components: Runtime, Development, Host. Nothing installed names a folder of the
# machine that built it: every path is found from the place of the file that says it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(NALSMITH_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/nalsmith)

install(TARGETS nalsmith EXPORT nalsmithTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/nalsmith DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(EXPORT nalsmithTargets NAMESPACE nalsmith:: DESTINATION ${NALSMITH_PACKAGE_DIR} COMPONENT Development)

configure_package_config_file(cmake/nalsmithConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/nalsmithConfig.cmake
  INSTALL_DESTINATION ${NALSMITH_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/nalsmithConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/nalsmithConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/nalsmithConfigVersion.cmake
  DESTINATION ${NALSMITH_PACKAGE_DIR} COMPONENT Development)

# The way from the folder of nalsmith.pc back to the prefix.
file(RELATIVE_PATH NALSMITH_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" NALSMITH_PC_PREFIX "${NALSMITH_PC_PREFIX}")
# A linker for C needs the libraries of C++ named; gcc and libc are in every one's own list.
set(NALSMITH_PC_LIBRARIES ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER NALSMITH_PC_LIBRARIES EXCLUDE REGEX "^(gcc|gcc_s|c)$")
list(REMOVE_DUPLICATES NALSMITH_PC_LIBRARIES)
list(TRANSFORM NALSMITH_PC_LIBRARIES PREPEND "-l")
string(REPLACE ";" " " NALSMITH_PC_LIBRARIES "${NALSMITH_PC_LIBRARIES}")
set(NALSMITH_PC_CFLAGS "")
if(NOT NALSMITH_SHARED)
  set(NALSMITH_PC_CFLAGS " -DNALSMITH_STATIC")
endif()
configure_file(cmake/nalsmith.pc.in ${CMAKE_CURRENT_BINARY_DIR}/nalsmith.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/nalsmith.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

if(TARGET nalsmith-host)
  file(RELATIVE_PATH NALSMITH_LIBRARY_FROM_PROGRAM /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
  set_target_properties(nalsmith-host PROPERTIES
    INSTALL_RPATH "$ORIGIN/${NALSMITH_LIBRARY_FROM_PROGRAM}"
    EXPORT_NAME host)
  install(TARGETS nalsmith-host EXPORT nalsmithHostTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Host)
  install(EXPORT nalsmithHostTargets NAMESPACE nalsmith:: DESTINATION ${NALSMITH_PACKAGE_DIR} COMPONENT Host)
  # The program's build leaves here what belongs into share/: man/man1/nalsmith.1 and the completions of shells.
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT Host OPTIONAL)
endif()
