# SPDX-License-Identifier: MIT
#
# The Python package: files that are installed as they are, where Debian's Python
# looks below /usr, and beside the library that they load.
set(VORN_PYTHON_DIR
    "lib/python3/dist-packages"
    CACHE STRING "Where the Python package is installed")
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/python/vorn
  DESTINATION ${VORN_PYTHON_DIR}
  COMPONENT python
  FILES_MATCHING
  PATTERN "*.py"
  PATTERN "*.pyi"
  PATTERN "py.typed"
  PATTERN "__pycache__" EXCLUDE)
install(
  FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-vorn
  COMPONENT python)
