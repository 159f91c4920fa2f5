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
source "$(dirname "${BASH_SOURCE[0]}")/../bench/setup.sh"

bench=$(vorn_build_bench)
build=$vorn_root/build/bench

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

{
  "$bench" --machine
  echo
  cat "$table"
} >"$build/measured.md"
vorn_fill_page "$docs/performance.md" measured "$build/measured.md"
