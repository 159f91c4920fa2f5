#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs the benchmarks:
#
#   scripts/bench.sh [ARGS]
#
# Without ARGS runs all, prints the table of ratios and writes it, with the
# machine and two plots, to docs/performance.md. With ARGS, which go to the
# benchmark program (--benchmark_filter=REGEX, say), only prints the table.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build libbenchmark-dev libboost-dev

build=$vorn_root/build/bench
if [ ! -f "$build/Makefile" ]; then
  vorn_quietly "$build.configure.log" cmake -S "$vorn_root" \
    --preset release -B "$build" -DVORN_BUILD_BENCH=ON -DVORN_BUILD_TESTS=OFF
fi
vorn_quietly "$build.build.log" \
  cmake --build "$build" -j "$vorn_jobs" --target vorn_bench
bench=$build/bench/vorn_bench

if [ $# -gt 0 ]; then
  exec "$bench" "$@"
fi

echo "Running the benchmarks, which takes a few minutes ..." >&2
table=$build/table.md
rows=$build/rows.tsv
"$bench" --rows="$rows" --benchmark_out="$build/benchmark.json" \
  --benchmark_out_format=json >"$table"
cat "$table"

plot() {
  awk -v benchmark="$1" -v title="$2" -v x_label="$3" -v y_label="$4" \
    -f "$vorn_root/bench/plot.awk" "$rows"
}
docs=$vorn_root/docs
plot bm_graph_satisfied_growth "Activating an edge that is already satisfied" \
  "edges (ten for each node)" "ns per edge" >"$docs/performance-satisfied.svg"
plot bm_graph_cycle_growth "Finding a conflict" \
  "edges of the cycle" "ns per edge of the cycle" >"$docs/performance-cycle.svg"

# The measured part of the page stands between two comments.
page=$docs/performance.md
{
  "$bench" --machine
  echo
  cat "$table"
} >"$build/measured.md"
awk -v measured="$build/measured.md" '
  /<!-- measured: begin -->/ {
    print; print ""
    while ((getline row < measured) > 0) print row
    print ""
    inside = 1
  }
  /<!-- measured: end -->/ { inside = 0 }
  !inside { print }
  /<!-- measured: begin -->/ { next }' "$page" >"$build/page.md"
cp "$build/page.md" "$page"
