#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Measures which lines and branches the tests execute, and fails below the
# thresholds at the end of this file:
#
#   scripts/coverage.sh
#
# Prints a table by folder. build/coverage/html has the sources with counts,
# build/coverage/files.txt the lines that are missed.
#
# Branches that only an exception takes are left out, as are those on lines
# without code of their own. The build has no assertions: they state what cannot
# happen, so one side of each is never taken.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test gcovr
cd "$vorn_root"

build=$vorn_root/build/coverage
# The long ones first.
suites="proof threads optimise scheduling engine search engine_allocation command bruteforce c smtlib dl
        terms c_memory containers numbers services explain explain_scripts api cubes"

# Left out: a million of something, random problems of a size that matters for
# speed only, and searches ended at many moments. They take minutes here and
# execute nothing that the rest does not.
left_out="*Million*:EncoderTest.LiteralOfDeepTermEnds"
left_out="$left_out:SatisfiabilityTest.*Random*:SatisfiabilityTest.Pigeonhole*"
left_out="$left_out:EngineAllocationTest.Later*"
left_out="$left_out:MachineRulesTest.*:MachineExplanationsTest.*"
left_out="$left_out:MachinesEngineTest.ChosenWindows*"
left_out="$left_out:InterruptedOptimumTest.*:CScriptsTest.ProofsOfMixedSorts*"
left_out="$left_out:PortfolioThreadsTest.Scripts*"
export VORN_FORMULAS=150 VORN_OPTIMA=12 VORN_C_SCRIPTS=30

targets=()
for suite in $suites; do targets+=("vorn_${suite}_test"); done
vorn_build coverage ON "${targets[@]}"
find "$build" -name '*.gcda' -delete

# One process for a suite, where ctest starts one for each test: every process
# reads and writes all counters.
run_suite() {
  local program
  program=$(find "$1/tests" -type f -name "vorn_$2_test")
  (cd "$(dirname "$program")" &&
    vorn_quietly "$1/$2.log" "$program" --gtest_filter="-$3")
}
export -f run_suite vorn_quietly
echo "Testing the coverage build ..."
# shellcheck disable=SC2086 # a list of words
printf '%s\n' $suites |
  xargs -P "$vorn_jobs" -I '{}' bash -c 'run_suite "$@"' - "$build" '{}' \
    "$left_out"

mkdir -p "$build/html"
# Threads count in the same places. In the core they wait for each other, so that
# each line counts; elsewhere that would take half as long again, and a count may
# come out below 0, which is no number of times to gcovr: it leaves such a branch
# out.
vorn_quietly "$build/gcovr.log" gcovr --root "$vorn_root" "$build" \
  --gcov-ignore-parse-errors \
  --filter "$vorn_root/vorn/" --filter "$vorn_root/solver/" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$vorn_jobs" \
  --json "$build/all.json" --txt "$build/files.txt"
# The pages take as long as all tables below.
vorn_quietly "$build/html.log" gcovr --root "$vorn_root" \
  --add-tracefile "$build/all.json" --html-details "$build/html/index.html" &

# summarise FOLDER [THRESHOLD ...]
# The table that nobody reads is a file: gcovr puts a new one in the place of
# what it writes to, even of a device.
summarise() {
  printf '%-18s ' "$1"
  gcovr --root "$vorn_root" --add-tracefile "$build/all.json" \
    --filter "$vorn_root/$1/" --txt "$build/folder.txt" --print-summary "${@:2}" |
    paste -sd ' '
}
for folder in vorn/*/ solver/*/; do summarise "${folder%/}"; done
summarise vorn --fail-under-line 100 --fail-under-branch 95
summarise solver --fail-under-line 95
wait $!
