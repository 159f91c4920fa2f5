#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
#   run_guides.sh SOURCE WORK
#
# Follows the guides literally, in a copy of the repository and an empty home
# folder below WORK. Each page begins with the programs of its C++, C and Python
# blocks as my_solver.cc, my_solver.c and my_solver.py, in the copy. Then, block by
# block:
#
#   ```sh     is run, line by line; what a line prints is shown only if it fails
#   ```text   behind it, under the same heading, must be what its last line
#             printed on standard output; elsewhere it is a table or a picture
#   ```cmake  is the end of a CMakeLists.txt, with which my_solver.cc, if there is one,
#             or my_solver.c must build and run against what has been installed
#   ```cpp    is part of my_solver.cc
#   ```c      is part of my_solver.c
#   ```python is part of my_solver.py
#
# Any other block fails. These lines are run in another form:
#
#   scripts but scripts/run.sh, which run this test or beside it, measure, or
#     test at length, are only looked for, and so is the trace tester, which is
#     built with the tests;
#   a build with tests stops at the library, and ctest only lists what it would
#     run, but must list something.
set -euo pipefail
source=$(realpath "$1")
rm -rf "$2"
mkdir -p "$2/home"
work=$(realpath "$2")
copy=$work/vorn
mkdir "$copy"
tar -C "$source" --exclude=./build --exclude=./.git -cf - . |
  tar -C "$copy" -xf -
export HOME=$work/home
unset PKG_CONFIG_PATH CMAKE_PREFIX_PATH DESTDIR
cd "$copy"

fail() {
  printf '%s: %s\n' "$page" "$1" >&2
  exit 1
}

# Runs a line in the shell of the page, so that its exports last.
run_line() {
  local line=$1
  case $line in
    */vorn_trace_tester*)
      [[ -f tests/trace/CMakeLists.txt ]] || fail "there is no $line"
      return
      ;;
    scripts/run.sh*) ;;
    scripts/* | bench/* | tests/*)
      [[ -x ${line%% *} ]] || fail "there is no $line"
      bash -n "${line%% *}"
      return
      ;;
    *-DVORN_BUILD_TESTS=ON* | 'cmake --preset dev'*) builds_tests=1 ;;
    'cmake --preset '*) builds_tests=0 ;;
    'cmake --build '*)
      [[ $builds_tests -eq 0 ]] || line+=' --target vorn'
      ;;
    'ctest '*) line+=' -N | grep "Total Tests: [1-9]"' ;;
  esac
  if ! eval "$line" >"$work/output" 2>"$work/errors" </dev/null; then
    cat "$work/output" "$work/errors" >&2
    fail "this failed: $1"
  fi
}

run_cmake() {
  local project=$work/project
  rm -rf "$project"
  mkdir "$project"
  local program=my_solver.cc
  [[ -s $program ]] || program=my_solver.c
  cp "$program" "$project/"
  {
    echo 'cmake_minimum_required(VERSION 3.22)'
    echo 'project(my_solver C CXX)'
    echo 'find_package(Threads REQUIRED)'
    echo 'link_libraries(Threads::Threads)'
    echo "add_executable(my_solver $program)"
    printf '%s' "$1"
  } >"$project/CMakeLists.txt"
  if ! { cmake -S "$project" -B "$project/build" \
    -DCMAKE_PREFIX_PATH="$HOME/vorn" && cmake --build "$project/build" &&
    "$project/build/my_solver"; } >"$work/output" 2>&1; then
    cat "$work/output" >&2
    fail "this CMake project failed: $1"
  fi
}

blocks_of() {
  awk -v fence="\`\`\`$1" '$0 == fence { inside = 1; next } /^```/ { inside = 0 }
    inside' "$page"
}

# With little optimisation, which the guides say nothing of, all of it is compiled
# in two thirds of the time. Without a Makefile nothing seems to be there yet.
cmake --preset release -DCMAKE_CXX_FLAGS_RELEASE='-O1 -DNDEBUG' >"$work/output"
rm build/release/Makefile

count=0
builds_tests=0
for page in README.md CONTRIBUTING.md ARCHITECTURE.md CHANGELOG.md docs/*.md; do
  # Its examples are a test of their own.
  case $page in
    docs/command.md | docs/proofs.md | docs/scheduling.md) continue ;;
  esac
  blocks_of cpp >my_solver.cc
  blocks_of c >my_solver.c
  blocks_of python >my_solver.py
  before=
  while IFS= read -r fence; do
    case $fence in
      '```'*) ;;
      '#'*)
        before=
        continue
        ;;
      *) continue ;;
    esac
    body=
    while IFS= read -r line && [[ $line != '```' ]]; do
      body+=$line$'\n'
    done
    count=$((count + 1))
    case $fence in
      '```sh')
        while IFS= read -r line; do
          [[ -z $line ]] || run_line "$line" 3<&-
        done <<<"$body"
        ;;
      '```text')
        if [[ $before == '```sh' ]] &&
          ! diff <(printf '%s' "$body") "$work/output" >&2; then
          fail 'this block is not what the one before prints'
        fi
        ;;
      '```cmake') run_cmake "$body" ;;
      '```cpp' | '```c' | '```python') ;;
      *) fail "nothing is known about blocks that begin $fence" ;;
    esac
    before=$fence
  done <"$page"
done
[[ $count -gt 0 ]] || fail 'no page has a block'
# What pkg-config compiled from the last page that says so.
./a.out
echo "tried $count blocks"
