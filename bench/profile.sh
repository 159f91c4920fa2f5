#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Counts instructions and cache misses per activation, of the graph and of the
# floor, with callgrind's simulation of the caches, prints a Markdown table and
# writes it to docs/performance.md:
#
#   bench/profile.sh
#
# Simulated: 32 KiB of first-level data cache and 1 MiB behind it. Counts are
# the same on a busy machine. Takes a few minutes.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

vorn_install valgrind
bench=$(vorn_build_bench)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# count GRAPH BENCHMARK: instructions, first-level misses and second-level
# misses per push.
count() {
  local pushes
  pushes=$(valgrind --tool=callgrind --callgrind-out-file="$work/out" \
    --cache-sim=yes --D1=32768,8,64 --LL=1048576,16,64 \
    --collect-atstart=no --toggle-collect='*counted_calls*' \
    "$bench" "--once=$1:$2" 2>"$work/log")
  # The events of "summary" stand in the order of the line "events".
  awk -v pushes="$pushes" '
    /^events:/ { for (k = 2; k <= NF; ++k) place[$k] = k }
    /^(summary|totals):/ {
      printf "%.0f %.1f %.1f\n", $place["Ir"] / pushes,
        ($place["D1mr"] + $place["D1mw"]) / pushes,
        ($place["DLmr"] + $place["DLmw"]) / pushes
      exit
    }' "$work/out"
}

table=$work/counts.md
{
  echo "| benchmark | instructions | of the floor | L1 misses | of the floor | L2 misses | of the floor |"
  echo "|---|---|---|---|---|---|---|"
  for name in satisfied/100000 satisfied_shuffled/100000 \
    feasible_sparse/40000 feasible_dense/50000 strict/40000 search/200000 \
    search_batches/200000 ft10_replay/200000; do
    read -r instructions l1 l2 < <(count vorn "bm_graph_$name")
    read -r floor_instructions floor_l1 floor_l2 \
      < <(count floor "bm_graph_$name")
    echo "| bm_graph_$name | $instructions | $floor_instructions | $l1 | $floor_l1 | $l2 | $floor_l2 |"
  done
} >"$table"
cat "$table"

vorn_fill_page "$vorn_root/docs/performance.md" counted "$table"
