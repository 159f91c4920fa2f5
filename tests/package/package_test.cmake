# SPDX-License-Identifier: MIT
#
# One step of the package tests:
#
#   cmake -D STEP=... -D KIND=Static|Shared -D SOURCE=... -D BUILD=...
#         -D WORK=... -D VERSION=... -D CXX=... -D FLAGS=... -D GENERATOR=...
#         -P package_test.cmake
#
# "install" leaves an installed tree that the other steps look at. It is made
# with DESTDIR and then moved, so whatever knows its first place fails here.
cmake_minimum_required(VERSION 3.22)

set(tree ${WORK}/${KIND}/installed)
if(KIND STREQUAL Shared)
  set(shared ON)
else()
  set(shared OFF)
endif()

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Runs a command and sets `result` to what it printed.
function(read_output result)
  execute_process(
    COMMAND ${ARGN}
    OUTPUT_VARIABLE text
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${result}
      "${text}"
      PARENT_SCOPE)
endfunction()

# Configures and builds `source` in `build`, from nothing.
function(build_project source build)
  file(REMOVE_RECURSE ${build})
  run(${CMAKE_COMMAND} -S ${source} -B ${build} -G ${GENERATOR}
      -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${FLAGS}"
      -DCMAKE_BUILD_TYPE=Debug ${ARGN})
  run(${CMAKE_COMMAND} --build ${build})
endfunction()

# Runs the consumer, whose output shows that the right library is linked.
function(run_consumer program)
  read_output(text ${program} ${ARGN})
  set(expected
      "x1 -[123456789012345678901234567890]-> x2 [id: 1]"
      "x2 -[-123456789012345678901234567890 - eps]-> x1 [id: 2]"
      "123456789012345678901234567890, -123456789012345678901234567890 - eps")
  list(JOIN expected "\n" expected)
  if(NOT text STREQUAL expected)
    message(FATAL_ERROR "the consumer printed:\n${text}")
  endif()
endfunction()

function(step_install)
  set(build ${WORK}/${KIND}/build)
  set(stage ${WORK}/${KIND}/stage)
  build_project(
    ${SOURCE} ${build} -DVORN_BUILD_SOLVER=OFF -DVORN_BUILD_TESTS=OFF
    -DBUILD_SHARED_LIBS=${shared} -DCMAKE_INSTALL_PREFIX=/usr/local
    -DCMAKE_INSTALL_LIBDIR=lib)
  file(REMOVE_RECURSE ${stage} ${tree})
  run(${CMAKE_COMMAND} -E env DESTDIR=${stage} ${CMAKE_COMMAND} --install
      ${build} --prefix /opt/first)
  file(RENAME ${stage}/opt/first ${tree})
  file(GLOB_RECURSE left ${stage}/*)
  if(left)
    message(FATAL_ERROR "installed outside the prefix: ${left}")
  endif()
endfunction()

# The public headers, all of them and no other; no file that names a folder of
# this build or the first prefix.
function(step_files)
  file(
    GLOB_RECURSE expected
    RELATIVE ${SOURCE}
    ${SOURCE}/vorn/*.h)
  list(REMOVE_ITEM expected vorn/containers/index.h vorn/numbers/big_repr.h
       vorn/numbers/block_pool.h vorn/dl/relaxation_queue.h)
  list(FILTER expected EXCLUDE REGEX "^vorn/dl/closure_")
  file(
    GLOB_RECURSE found
    RELATIVE ${tree}/include
    ${tree}/include/*)
  if(NOT found STREQUAL expected)
    message(FATAL_ERROR "headers: ${found}\nexpected: ${expected}")
  endif()
  file(GLOB_RECURSE texts ${tree}/*.cmake ${tree}/*.pc ${tree}/*.h)
  foreach(file IN LISTS texts)
    file(READ ${file} text)
    foreach(folder IN ITEMS ${SOURCE} ${WORK} /opt/first /usr/local)
      string(FIND "${text}" "${folder}" position)
      if(NOT position EQUAL -1)
        message(FATAL_ERROR "${file} names ${folder}")
      endif()
    endforeach()
  endforeach()
endfunction()

function(step_cmake)
  set(build ${WORK}/${KIND}/consumer-cmake)
  build_project(${SOURCE}/tests/package/consumer ${build}
                -DCMAKE_PREFIX_PATH=${tree} -DVERSION=${VERSION})
  run_consumer(${build}/consumer)
endfunction()

# Compiles the consumer as a makefile without CMake would.
function(build_by_pkgconfig prefix program)
  file(GLOB_RECURSE file ${prefix}/*/vorn.pc)
  get_filename_component(folder ${file} DIRECTORY)
  read_output(
    words ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder} #
    PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs vorn)
  separate_arguments(words UNIX_COMMAND "${words}")
  separate_arguments(flags UNIX_COMMAND "${FLAGS}")
  read_output(version ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder}
              pkg-config --modversion vorn)
  if(NOT version STREQUAL VERSION)
    message(FATAL_ERROR "vorn.pc says version ${version}")
  endif()
  run(${CXX} -std=c++17 ${flags} ${SOURCE}/tests/package/consumer/main.cc -o
      ${program} ${words})
endfunction()

function(step_pkgconfig)
  set(program ${WORK}/${KIND}/consumer-pkgconfig)
  build_by_pkgconfig(${tree} ${program})
  run_consumer(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${tree}/lib ${program})
endfunction()

# The same for the solver, which says how early two tasks are done.
function(build_solver_consumer prefix program)
  file(GLOB_RECURSE file ${prefix}/*/vorn-solver.pc)
  get_filename_component(folder ${file} DIRECTORY)
  read_output(
    words ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder} #
    PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs vorn-solver)
  separate_arguments(words UNIX_COMMAND "${words}")
  separate_arguments(flags UNIX_COMMAND "${FLAGS}")
  run(${CXX} -std=c++17 -Wall -Wextra -Wpedantic -Werror ${flags}
      ${SOURCE}/tests/package/consumer/solver.cc -o ${program} ${words})
  read_output(text ${program})
  if(NOT text STREQUAL "5")
    message(FATAL_ERROR "the consumer of the solver printed:\n${text}")
  endif()
endfunction()

# The same from C, by way of the shared library.
function(run_c_consumer prefix program)
  file(GLOB_RECURSE file ${prefix}/*/vorn-c.pc)
  get_filename_component(folder ${file} DIRECTORY)
  get_filename_component(libraries ${folder} DIRECTORY)
  read_output(
    words ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder} #
    PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs vorn-c)
  separate_arguments(words UNIX_COMMAND "${words}")
  separate_arguments(flags UNIX_COMMAND "${FLAGS}")
  run(cc -std=c99 ${flags} ${SOURCE}/tests/c/header_test.c -o ${program}
      ${words})
  read_output(version ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libraries}
              ${program})
  if(NOT version STREQUAL VERSION)
    message(FATAL_ERROR "the C library says version ${version}")
  endif()
endfunction()

# Every public header in `folder` of `include` can be the first one of a file.
function(check_headers include folder)
  file(
    GLOB_RECURSE headers
    RELATIVE ${include}
    ${include}/${folder}/*.h)
  if(NOT headers)
    message(FATAL_ERROR "no headers in ${include}/${folder}")
  endif()
  foreach(header IN LISTS headers)
    # Twice, so that a missing guard shows.
    set(source ${WORK}/${KIND}-header.cc)
    file(WRITE ${source} "#include \"${header}\"\n#include \"${header}\"\n")
    run(${CXX} -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow
        -Wconversion -Wsign-conversion -Wold-style-cast -Werror -I${include}
        ${source})
  endforeach()
endfunction()

function(step_headers)
  check_headers(${tree}/include vorn)
endfunction()

function(step_subdirectory)
  set(build ${WORK}/${KIND}/parent)
  set(prefix ${WORK}/${KIND}/parent-installed)
  build_project(
    ${SOURCE}/tests/package/parent ${build} -DVORN_SOURCE_DIR=${SOURCE}
    -DCONSUMER_SOURCE=${SOURCE}/tests/package/consumer/main.cc
    -DBUILD_SHARED_LIBS=${shared})
  run_consumer(${build}/consumer)
  file(REMOVE_RECURSE ${prefix})
  run(${CMAKE_COMMAND} --install ${build} --prefix ${prefix})
  file(
    GLOB_RECURSE installed
    RELATIVE ${prefix}
    ${prefix}/*)
  if(NOT installed STREQUAL "bin/consumer")
    message(FATAL_ERROR "the parent installs: ${installed}")
  endif()
endfunction()

# The shared library has a versioned name and shows no internals.
function(step_symbols)
  string(REGEX MATCH "^[0-9]+\\.[0-9]+" soversion ${VERSION})
  read_output(dynamic readelf -d ${tree}/lib/libvorn.so)
  if(NOT dynamic MATCHES "SONAME.*\\[libvorn\\.so\\.${soversion}\\]")
    message(FATAL_ERROR "no versioned name:\n${dynamic}")
  endif()
  read_output(symbols nm -DC --defined-only ${tree}/lib/libvorn.so)
  string(REPLACE "\n" ";" symbols "${symbols}")
  set(internal ${symbols})
  list(FILTER internal INCLUDE REGEX
       "RelaxationQueue|QNumberBig|vorn::Integer|vorn::gcd")
  if(internal)
    message(FATAL_ERROR "internals are visible: ${internal}")
  endif()
  # Weak ones are instantiations of the standard library's templates; the
  # address sanitizer adds its own.
  list(FILTER symbols EXCLUDE REGEX " [VWu] ")
  list(FILTER symbols EXCLUDE REGEX "vorn::|__odr_asan")
  if(symbols)
    message(FATAL_ERROR "symbols of another kind: ${symbols}")
  endif()
endfunction()

# The manual and the completions know each option of the command.
function(step_manual)
  read_output(help ${BUILD}/bin/vorn --help)
  string(REGEX MATCHALL "--[a-z-]+" options "${help}")
  list(LENGTH options count)
  if(count LESS 10)
    message(FATAL_ERROR "the options could not be read from:\n${help}")
  endif()
  foreach(file IN ITEMS docs/vorn.1 docs/command.md cmake/completions/vorn.bash
                        cmake/completions/_vorn)
    file(READ ${SOURCE}/${file} text)
    string(REPLACE "\\-" "-" text "${text}")
    foreach(option IN LISTS options)
      # zsh writes the long form of a pair after a brace.
      if(NOT text MATCHES "${option}[^a-z-]")
        message(FATAL_ERROR "${file} does not know ${option}")
      endif()
    endforeach()
  endforeach()

  find_program(man man)
  if(man)
    execute_process(
      COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 MANWIDTH=78 ${man}
              --warnings -l ${SOURCE}/docs/vorn.1
      OUTPUT_VARIABLE text
      ERROR_VARIABLE warnings COMMAND_ERROR_IS_FATAL ANY)
    if(warnings OR NOT text MATCHES "SYNOPSIS")
      message(FATAL_ERROR "man says: ${warnings}\n${text}")
    endif()
  endif()

  read_output(offers bash ${SOURCE}/tests/package/completion.sh ${SOURCE})
  string(
    CONCAT expected
           "auto both long none short\n"
           "off on\n"
           "--lemma-dedup --lemma-overlap\n"
           "jobshop/ft06-54.smt2 jobshop/ft06-55.smt2\n"
           "jobshop/")
  if(NOT offers STREQUAL expected)
    message(FATAL_ERROR "bash completes to:\n${offers}")
  endif()
endfunction()

# The Debian packages of this very build, unpacked and used.
function(step_debian)
  set(root ${WORK}/debian)
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root})
  # For makefiles cpack would build everything first, which a test must not do
  # to the build it runs in; what other generators made it takes as it is.
  run(${CMAKE_CPACK_COMMAND} --config ${BUILD}/CPackConfig.cmake -B ${root} -D
      CPACK_CMAKE_GENERATOR=Ninja)
  foreach(package IN ITEMS libvorn-dev libvorn0 python3-vorn vorn)
    file(GLOB file ${root}/${package}_${VERSION}*.deb)
    list(LENGTH file count)
    if(NOT count EQUAL 1)
      message(FATAL_ERROR "packages called ${package}: ${file}")
    endif()
    read_output(name dpkg-deb -f ${file} Package)
    read_output(depends dpkg-deb -f ${file} Depends)
    if(NOT name STREQUAL package OR NOT depends MATCHES
                                       "libgmp|libvorn0")
      message(FATAL_ERROR "${file} is ${name} and depends on ${depends}")
    endif()
    run(dpkg-deb -x ${file} ${root}/${package})
  endforeach()
  build_by_pkgconfig(${root}/libvorn-dev ${root}/consumer)
  run_consumer(${root}/consumer)
  check_headers(${root}/libvorn-dev/usr/include vorn/solver)
  build_solver_consumer(${root}/libvorn-dev ${root}/solver_consumer)
  # As on a machine, the two beside each other.
  file(GLOB file ${root}/libvorn0_${VERSION}*.deb)
  run(dpkg-deb -x ${file} ${root}/libvorn-dev)
  run_c_consumer(${root}/libvorn-dev ${root}/c_consumer)
  file(GLOB file ${root}/python3-vorn_${VERSION}*.deb)
  run(dpkg-deb -x ${file} ${root}/libvorn-dev)
  read_output(
    answer
    ${CMAKE_COMMAND}
    -E
    env
    PYTHONPATH=${root}/libvorn-dev/usr/lib/python3/dist-packages
    python3
    -B
    ${SOURCE}/examples/python/test_rigs.py)
  if(NOT answer MATCHES "done after 10")
    message(FATAL_ERROR "the Python package says: ${answer}")
  endif()

  set(usr ${root}/vorn/usr)
  read_output(version ${usr}/bin/vorn --version)
  read_output(verdict ${usr}/bin/vorn ${SOURCE}/examples/jobshop/ft06-54.smt2)
  if(NOT version STREQUAL "vorn ${VERSION}" OR NOT verdict STREQUAL unsat)
    message(FATAL_ERROR "the packaged command says: ${version}, ${verdict}")
  endif()
  foreach(file IN ITEMS bin/vorn-check share/man/man1/vorn-check.1
                        share/man/man1/vorn.1
                        share/bash-completion/completions/vorn
                        share/zsh/vendor-completions/_vorn)
    if(NOT EXISTS ${usr}/${file})
      message(FATAL_ERROR "the package vorn lacks ${file}")
    endif()
  endforeach()
endfunction()

cmake_language(CALL step_${STEP})
