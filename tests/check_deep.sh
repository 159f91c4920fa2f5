#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs the checks that take too long for every change:
#
#   tests/check_deep.sh [PART ...]
#
# The parts, all of them if none is named:
#
#   debugstl   all tests, with the checked containers of libstdc++
#   valgrind   the tests that are fast, and the corpora of the fuzzers, under
#              memcheck, which finds what was never set and what is lost; unlike
#              the address sanitizer it sees numbers recycle their blocks
#   asan       all tests under the address sanitizer, which also looks for
#              leaks, uses of a local after its function returned, and statics
#              used before they are made
#
# Each says at its end how many tests passed and how long they took. Goes on to
# the next part when one fails, and fails at the end.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/setup.sh"

parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=(debugstl valgrind asan)

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test googletest valgrind
cd "$vorn_root"

# Under memcheck a test takes about 40 times as long. Left out are those that
# make thousands of random cases, which the sanitizers run, and those that only
# start other programs.
slow_tests='*Random*:*Agree*:JobShopTest.*:*Pigeon*:*Seeds*'
other_programs='vorn_command_test vorn_pressure_test vorn_recording_test vorn_trace_test'

# The programs under build/debugstl that memcheck runs, one a line.
memcheck_programs() {
  local program
  find build/debugstl/tests -name 'vorn_*_test' -type f -perm -u+x | sort |
    while read -r program; do
      case " $other_programs " in
        *" ${program##*/} "*) ;;
        *) echo "$program" ;;
      esac
    done
}

# Runs a program under memcheck; its output goes to build/valgrind/NAME.log, and
# is shown if it fails:
#   memcheck NAME PROGRAM [ARGUMENT ...]
# The tests' own operators new and delete, which can be made to fail, stay in
# place.
memcheck() {
  local name=$1 log=build/valgrind/$1.log
  shift
  nice valgrind --quiet --soname-synonyms=somalloc=nouserintercepts \
    --leak-check=full --errors-for-leak-kinds=definite,indirect,possible \
    --show-leak-kinds=definite,indirect,possible --error-exitcode=99 --num-callers=30 \
    "$@" >"$log" 2>&1 </dev/null && return
  tail -n 60 "$log" >&2
  echo "$name failed under memcheck; the output is in $log" >&2
  return 1
}

check_debugstl() {
  vorn_build debugstl ON
  nice ctest --preset debugstl -j "$vorn_jobs" --progress
}

check_valgrind() {
  local program name logs=build/valgrind failed=no
  vorn_build debugstl ON
  mkdir -p "$logs"
  while read -r program; do
    name=${program##*/}
    if memcheck "$name" "$program" --gtest_filter="-$slow_tests"; then
      echo "$name: $(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests*\./\1/p' "$logs/$name.log") tests"
    else
      failed=yes
    fi
  done < <(memcheck_programs)
  for name in number_fuzz graph_fuzz smtlib_fuzz command_fuzz; do
    if memcheck "$name" "build/debugstl/fuzz/vorn_replay_$name" \
      "fuzz/corpus/$name"; then
      echo "$name: $(grep -c ' bytes$' "$logs/$name.log") inputs"
    else
      failed=yes
    fi
  done
  [ "$failed" = no ]
}

check_asan() {
  vorn_build asan ON
  local options=detect_leaks=1:detect_stack_use_after_return=1
  options+=:check_initialization_order=1:strict_init_order=1
  options+=:strict_string_checks=1
  ASAN_OPTIONS=$options nice ctest --preset asan -j "$vorn_jobs" --progress
}

failed=()
for part in "${parts[@]}"; do
  if ! declare -F "check_$part" >/dev/null; then
    echo "There is no part $part" >&2
    exit 2
  fi
  echo "Checking $part ..."
  begin=$SECONDS
  # Not as a condition: there, errors inside would not end the part.
  (
    set -e
    "check_$part"
  ) &
  wait $! || failed+=("$part")
  echo "$part took $((SECONDS - begin)) s"
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "These failed: ${failed[*]}" >&2
  exit 1
fi
