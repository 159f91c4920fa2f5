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
suites="engine search smtlib command dl engine_allocation bruteforce terms
        containers numbers services"

# Left out: a million of something, and random problems of a size that matters
# for speed only. They take two minutes here and execute nothing that the rest
# does not.
left_out="*Million*:EncoderTest.LiteralOfDeepTermEnds"
left_out="$left_out:SatisfiabilityTest.*Random*:SatisfiabilityTest.Pigeonhole*"
left_out="$left_out:EngineAllocationTest.Later*"
export VORN_FORMULAS=300

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
vorn_quietly "$build/gcovr.log" gcovr --root "$vorn_root" "$build" \
  --filter "$vorn_root/vorn/" --filter "$vorn_root/solver/" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$vorn_jobs" \
  --csv "$build/files.csv" --txt "$build/files.txt" \
  --html-details "$build/html/index.html"

# Folder, covered and all lines, covered and all branches; then the thresholds.
awk -F, '
  function percent(part, whole) { return whole ? 100 * part / whole : 100 }
  function add(folder) {
    if (!(folder in lines)) order[++n] = folder
    lines[folder] += $2; hit_lines[folder] += $3
    branches[folder] += $5; hit_branches[folder] += $6
  }
  function need(what, part, whole, least) {
    if (whole > 0 && percent(part, whole) >= least) return
    printf "%s: %d of %d, below %s%%\n", what, part, whole, least
    failed = 1
  }
  NR == 1 { next }
  {
    split($1, part, "/")
    # A total comes behind its folders.
    if (top != "" && top != part[1]) order[++n] = top "/"
    top = part[1]
    lines[top "/"] += 0
    add(top "/" part[2])
    add(top "/")
  }
  END {
    order[++n] = top "/"
    printf "%-18s %17s %19s\n", "", "lines", "branches"
    for (k = 1; k <= n; ++k) {
      f = order[k]
      printf "%-18s %5d/%-5d %5.1f%% %6d/%-5d %5.1f%%\n", f, hit_lines[f],
             lines[f], percent(hit_lines[f], lines[f]), hit_branches[f],
             branches[f], percent(hit_branches[f], branches[f])
    }
    need("lines of vorn/", hit_lines["vorn/"], lines["vorn/"], 100)
    need("branches of vorn/", hit_branches["vorn/"], branches["vorn/"], 95)
    need("lines of solver/", hit_lines["solver/"], lines["solver/"], 95)
    exit failed
  }' "$build/files.csv" || {
  echo "Too little is covered; $build/files.txt names the lines." >&2
  exit 1
}
