# SPDX-License-Identifier: MIT
#
# What lets other projects find an installed Vorn: a CMake package and
# pkg-config files. Both find the rest by their own place, so that an installed
# tree may be moved.
include(CMakePackageConfigHelpers)

set(vorn_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
set(vorn_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/vornConfig.cmake.in vornConfig.cmake
  INSTALL_DESTINATION ${vorn_config_dir}
  NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(vornConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/vornConfig.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/vornConfigVersion.cmake
  DESTINATION ${vorn_config_dir}
  COMPONENT dev)
install(
  EXPORT vornTargets
  NAMESPACE vorn::
  DESTINATION ${vorn_config_dir}
  COMPONENT dev)

# A program that links the static library links GMP too.
if(BUILD_SHARED_LIBS)
  set(vorn_gmp_requirement Requires.private)
else()
  set(vorn_gmp_requirement Requires)
endif()
file(RELATIVE_PATH vorn_way_to_prefix "/${vorn_pkgconfig_dir}" "/")
set(vorn_pkgconfig_files vorn.pc)
if(VORN_BUILD_SOLVER)
  list(APPEND vorn_pkgconfig_files vorn-solver.pc)
endif()
# Where the C library is beside it, -lvorn is that one.
set(vorn_core_library "-L\${libdir} -lvorn")
if(TARGET vorn::c)
  list(APPEND vorn_pkgconfig_files vorn-c.pc)
  set(vorn_core_library "\${libdir}/libvorn.a")
endif()
foreach(file IN LISTS vorn_pkgconfig_files)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${file}.in ${file} @ONLY)
endforeach()
list(TRANSFORM vorn_pkgconfig_files PREPEND ${CMAKE_CURRENT_BINARY_DIR}/)
install(
  FILES ${vorn_pkgconfig_files}
  DESTINATION ${vorn_pkgconfig_dir}
  COMPONENT dev)

install(
  FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvorn-dev
  COMPONENT dev)
if(TARGET vorn::c)
  include(${CMAKE_CURRENT_LIST_DIR}/python.cmake)
  install(
    FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvorn0
    COMPONENT shared)
endif()
if(VORN_BUILD_SOLVER)
  install(
    FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vorn
    COMPONENT command)
endif()
