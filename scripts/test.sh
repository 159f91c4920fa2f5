#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs everything that must pass:
#
#   scripts/test.sh
#
# Formatting, then the tests in a debug build under the address and
# undefined-behaviour sanitizers, then the tests in the release build, then the
# tests of threads under the thread sanitizer, then how much of the code the tests
# execute, then the API reference and the pictures of the documentation, then each
# fuzzer for a minute.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test $vorn_packages_doc
cd "$vorn_root"

"$vorn_root/scripts/format.sh" --check

for preset in asan release; do
  vorn_build "$preset" ON
  echo "Testing the $preset build ..."
  ctest --preset "$preset" -j "$vorn_jobs" --progress
done

vorn_build tsan ON vorn_threads_test
echo "Testing the tsan build ..."
ctest --preset tsan --progress

"$vorn_root/scripts/coverage.sh"

"$vorn_root/scripts/doc.sh"

"$vorn_root/scripts/fuzz.sh" --seconds 60
