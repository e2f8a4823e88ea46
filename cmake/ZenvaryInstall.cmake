# Installation and packaging: what `cmake --install` puts in place.
#
#   bin/zenvary                      the command-line tool
#   lib/libzenvary.so.N, .so         the C interface, shared
#   lib/libzenvary.a                 the same interface, static (C++ inside)
#   include/zenvary.h
#   lib/pkgconfig/zenvary.pc         pkg-config --cflags --libs zenvary
#   lib/cmake/Zenvary/               find_package(Zenvary): Zenvary::zenvary
#                                    (shared) and Zenvary::zenvary_static
#   share/man/man1/zenvary.1         made from the tool's --help by help2man
#
# Every installed path is relative to the prefix, so an installed tree can be
# moved: the pkg-config file and the package config find the prefix from
# their own location.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZV_PACKAGE_DIR ${CMAKE_BINARY_DIR}/package)
get_target_property(ZV_SOVERSION zenvary_capi SOVERSION)

# The static form of the C interface: the component's archive with the
# interface's objects added, so that one archive serves a C program.
set(ZV_STATIC_ARCHIVE ${ZV_PACKAGE_DIR}/libzenvary.a)
add_custom_command(OUTPUT ${ZV_STATIC_ARCHIVE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${ZV_PACKAGE_DIR}
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:zenvary> ${ZV_STATIC_ARCHIVE}
  COMMAND ${CMAKE_AR} rs ${ZV_STATIC_ARCHIVE} $<TARGET_OBJECTS:zenvary_capi>
  DEPENDS zenvary zenvary_capi $<TARGET_OBJECTS:zenvary_capi>
  COMMENT "Archiving the static C interface"
  VERBATIM COMMAND_EXPAND_LISTS)
add_custom_target(zenvary_static_package ALL DEPENDS ${ZV_STATIC_ARCHIVE})

# pkg-config: the prefix is found from the file's own directory.
file(RELATIVE_PATH ZV_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZV_PC_TO_PREFIX "${ZV_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/zenvary.pc.in ${ZV_PACKAGE_DIR}/zenvary.pc @ONLY)

# The CMake package.
set(ZV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Zenvary)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZenvaryConfig.cmake.in
  ${ZV_PACKAGE_DIR}/ZenvaryConfig.cmake
  INSTALL_DESTINATION ${ZV_CMAKE_DIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${ZV_PACKAGE_DIR}/ZenvaryConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)

# The man page, from the tool's own help.
find_program(HELP2MAN_PROGRAM help2man)
if(HELP2MAN_PROGRAM)
  set(ZV_MAN_PAGE ${ZV_PACKAGE_DIR}/zenvary.1)
  add_custom_command(OUTPUT ${ZV_MAN_PAGE}
    COMMAND ${CMAKE_COMMAND} -DCLI=$<TARGET_FILE:zenvary_cli> -DHELP2MAN=${HELP2MAN_PROGRAM}
            -DVERSION=${PROJECT_VERSION} -DOUT=${ZV_MAN_PAGE}
            -P ${CMAKE_CURRENT_LIST_DIR}/ZenvaryManPage.cmake
    DEPENDS zenvary_cli ${CMAKE_CURRENT_LIST_DIR}/ZenvaryManPage.cmake
    COMMENT "Generating the zenvary(1) man page"
    VERBATIM)
  add_custom_target(zenvary_man ALL DEPENDS ${ZV_MAN_PAGE})
  install(FILES ${ZV_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  message(STATUS "help2man not found: the zenvary(1) man page is not built")
endif()

install(TARGETS zenvary_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS zenvary_capi LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${ZV_STATIC_ARCHIVE} DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${CMAKE_SOURCE_DIR}/src/shell/capi/zenvary.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${ZV_PACKAGE_DIR}/zenvary.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES ${ZV_PACKAGE_DIR}/ZenvaryConfig.cmake ${ZV_PACKAGE_DIR}/ZenvaryConfigVersion.cmake
  DESTINATION ${ZV_CMAKE_DIR})
