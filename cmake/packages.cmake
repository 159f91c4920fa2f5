# SPDX-License-Identifier: MIT
#
# Debian packages: `cpack` in a build folder writes libvorn-dev, vorn and, of the
# C library, libvorn0 and python3-vorn, or, of a shared core, libvorn<version>.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vorn)
set(CPACK_PACKAGE_VENDOR "Vorn")
set(CPACK_PACKAGE_CONTACT "The Vorn developers <vorn@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_COMPONENTS_ALL dev)
set(vorn_library_package
    libvorn${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvorn-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libgmp-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "Exact, incremental difference logic: headers and library")
set(CPACK_COMPONENT_DEV_DESCRIPTION ${CPACK_DEBIAN_DEV_DESCRIPTION})

if(BUILD_SHARED_LIBS)
  list(APPEND CPACK_COMPONENTS_ALL lib)
  set(CPACK_DEBIAN_LIB_PACKAGE_NAME ${vorn_library_package})
  set(CPACK_DEBIAN_LIB_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_LIB_DESCRIPTION
      "Exact, incremental difference logic: shared library")
  set(CPACK_COMPONENT_DEV_DEPENDS lib)
endif()

if(TARGET vorn::c)
  list(APPEND CPACK_COMPONENTS_ALL shared)
  set(CPACK_DEBIAN_SHARED_PACKAGE_NAME libvorn0)
  set(CPACK_DEBIAN_SHARED_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_SHARED_DESCRIPTION
      "Solver of difference logic: library for C and Python")
  set(CPACK_COMPONENT_DEV_DEPENDS shared)

  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vorn)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9)")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION
      "Solver of difference logic: Python package")
  set(CPACK_COMPONENT_PYTHON_DEPENDS shared)
endif()

if(VORN_BUILD_SOLVER)
  list(APPEND CPACK_COMPONENTS_ALL command)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME vorn)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION math)
  set(CPACK_COMPONENT_COMMAND_DESCRIPTION
      "Decides SMT-LIB scripts of difference logic")
  if(BUILD_SHARED_LIBS)
    set(CPACK_COMPONENT_COMMAND_DEPENDS lib)
  endif()
endif()

# dpkg-shlibdeps finds out which packages hold the libraries that are linked.
find_program(VORN_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(VORN_DPKG_SHLIBDEPS)
if(VORN_DPKG_SHLIBDEPS AND NOT BUILD_SHARED_LIBS)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_SHARED_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_SHARED_PACKAGE_DEPENDS "libc6, libgmp10, libstdc++6")
  set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "libc6, libgmp10, libstdc++6")
  set(CPACK_DEBIAN_LIB_PACKAGE_DEPENDS "libc6, libgmp10, libstdc++6")
endif()

include(CPack)
