#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs the fuzzers:
#
#   scripts/fuzz.sh [--seconds N] [--keep] [NAME ...]
#
# Each (all, if none is named) runs for N seconds (60 if not given), as many at
# a time as there are processors, and starts from fuzz/corpus/NAME and from
# what earlier runs found. An input that fails is named, with the command that
# runs it again. Inputs that reach new code stay in build/fuzz-corpus; with
# --keep, those that the corpus in fuzz/corpus lacks are added to it.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

seconds=60
keep=no
names=()
while [ $# -gt 0 ]; do
  case $1 in
    --seconds)
      seconds=${2:?"--seconds needs a number"}
      shift
      ;;
    --keep) keep=yes ;;
    -*)
      echo "There is no option $1" >&2
      exit 2
      ;;
    *) names+=("$1") ;;
  esac
  shift
done
[ ${#names[@]} -gt 0 ] ||
  names=(command_fuzz smtlib_fuzz checker_fuzz graph_fuzz closure_fuzz
    number_fuzz)
for name in "${names[@]}"; do
  if [ ! -f "$vorn_root/fuzz/$name.cc" ] ||
    [ ! -d "$vorn_root/fuzz/corpus/$name" ]; then
    echo "There is no fuzzer $name" >&2
    exit 2
  fi
done

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test $vorn_packages_fuzz
vorn_build fuzz ON "${names[@]}"
cd "$vorn_root"

# The sanitizer's share of the time: short stacks of allocations (an input run
# again by hand shows whole ones) and a small quarantine.
export ASAN_OPTIONS=malloc_context_size=3:quarantine_size_mb=32

# Runs one fuzzer; its output goes to a log.
run_fuzzer() {
  local name=$1
  local options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048
    -print_final_stats=1 -artifact_prefix="build/fuzz-found/$name/"
    # The other schedule of mutations spends most of its time on itself.
    -entropic=0)
  # Long inputs cost time and seldom show what short ones do not.
  case $name in
    number_fuzz) options+=(-max_len=500) ;;
    graph_fuzz | closure_fuzz) options+=(-max_len=700) ;;
    *) options+=(-max_len=2000) ;;
  esac
  [ ! -f "fuzz/$name.dict" ] || options+=(-dict="fuzz/$name.dict")
  mkdir -p "build/fuzz-found/$name" "build/fuzz-corpus/$name"
  "build/fuzz/fuzz/$name" "${options[@]}" "build/fuzz-corpus/$name" \
    "fuzz/corpus/$name" >"build/fuzz-$name.log" 2>&1
}

# Says how a run went; fails if it did not end well.
report() {
  local name=$1 succeeded=$2 log=build/fuzz-$1.log found
  if [ "$succeeded" = yes ]; then
    awk -v name="$name" '
      /^stat::number_of_executed_units:/ { runs = $2 }
      /^#[0-9].* cov: / {
        for (i = 1; i < NF; ++i) {
          if ($i == "cov:") cov = $(i + 1)
          if ($i == "ft:") ft = $(i + 1)
        }
      }
      END {
        printf "%-13s %8d executions, %5d edges, %6d features\n",
               name, runs, cov, ft
      }' "$log"
    return
  fi
  tail -n 60 "$log" >&2
  echo "$name failed; the whole output is in $log" >&2
  found=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  if [ -n "$found" ]; then
    echo "The input is $vorn_root/$found. To run it again:" >&2
    echo "  $vorn_root/build/fuzz/fuzz/$name $vorn_root/$found" >&2
  fi
  return 1
}

echo "Fuzzing ${names[*]}, $seconds s each ..."
failed=no
for ((i = 0; i < ${#names[@]}; i += vorn_jobs)); do
  batch=("${names[@]:i:vorn_jobs}")
  processes=()
  for name in "${batch[@]}"; do
    run_fuzzer "$name" &
    processes+=($!)
  done
  for j in "${!batch[@]}"; do
    succeeded=yes
    wait "${processes[j]}" || succeeded=no
    report "${batch[j]}" "$succeeded" || failed=yes
  done
done
[ "$failed" = no ]

if [ "$keep" = yes ]; then
  for name in "${names[@]}"; do
    vorn_quietly "build/fuzz-$name-merge.log" "build/fuzz/fuzz/$name" \
      -merge=1 "fuzz/corpus/$name" "build/fuzz-corpus/$name"
  done
fi
