#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs the tests:
#
#   scripts/test.sh            formatting, and every test that one build can run,
#                              optimised and with assertions: five minutes on two
#                              processors, three of them for building, once
#   scripts/test.sh NAME ...   of these the tests whose names match a NAME, which
#                              is a regular expression
#   scripts/test.sh --all      everything that must pass: also the tests that
#                              build Vorn anew, all tests under the address and
#                              undefined-behaviour sanitizers, those of threads
#                              under the thread sanitizer, how much of the code
#                              the tests execute, the API reference and the
#                              pictures of the documentation, and each fuzzer for
#                              10 seconds
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# run_tests PRESET [ARGUMENT-OF-CTEST ...]
run_tests() {
  echo "Testing the $1 build ..."
  ctest --preset "$1" -j "$vorn_jobs" --progress "${@:2}"
}

all=no
names=
for argument in "$@"; do
  case $argument in
    --all) all=yes ;;
    -*)
      echo "There is no option $argument" >&2
      exit 2
      ;;
    *) names=${names:+$names|}$argument ;;
  esac
done

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test
cd "$vorn_root"

if [ -n "$names" ]; then
  vorn_build checked ON
  run_tests checked -R "$names"
  exit
fi

scripts/format.sh --check
vorn_build checked ON
if [ $all = no ]; then
  run_tests checked -LE anew
  exit
fi

run_tests checked
vorn_build asan ON
run_tests asan
vorn_build tsan ON vorn_threads_test
run_tests tsan
scripts/coverage.sh
VORN=$vorn_root/build/checked/bin/vorn scripts/doc.sh
scripts/fuzz.sh --seconds 10
