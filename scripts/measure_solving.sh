#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Asks vorn about job-shop tables at their optimum and one below, and about the
# SMT-LIB files named, and prints a Markdown table:
#
#   scripts/measure_solving.sh [FILE.smt2 ...]
#
# Seconds are processor time of the whole command, one run each. Models are
# checked; a wrong verdict (by the table of optima, or by a file's :status)
# shows as WRONG.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build
vorn_build release OFF vorn_command
vorn=$vorn_root/build/release/bin/vorn
jobshop=$vorn_root/examples/jobshop

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TIMEFORMAT=%U

echo "| question | verdict | seconds | conflicts | decisions |"
echo "|---|---|---|---|---|"

# ask NAME FILE WANTED: one row.
ask() {
  local seconds
  seconds=$({ time "$vorn" --stats --timeout 120 "$2" >"$work/answer"; } 2>&1)
  awk -v name="$1" -v wanted="$3" -v seconds="$seconds" '
    /^(sat|unsat|unknown)$/ { verdict = verdict (verdict ? " " : "") $1 }
    /^; / { sub(/^; /, ""); split($0, pair, ": "); value[pair[1]] = pair[2] }
    END {
      if (wanted != "" && verdict != wanted) verdict = verdict " WRONG"
      printf "| %s | %s | %s | %d | %d |\n", name, verdict, seconds,
             value["conflicts"], value["decisions"]
    }' "$work/answer"
}

for table in ft06 ft10 la01 la02 la03 la04 la05; do
  optimum=$(awk -v t="$table" '$1 == t { print $4 }' "$jobshop/optima.tsv")
  for k in "$optimum" "$((optimum - 1))"; do
    "$jobshop/question.sh" "$jobshop/$table.txt" "$k" >"$work/question.smt2"
    wanted=sat
    [ "$k" -eq "$optimum" ] || wanted=unsat
    ask "$table, $k" "$work/question.smt2" "$wanted"
  done
done
for file in "$@"; do
  wanted=$(sed -n 's/.*(set-info :status \([a-z]*\)).*/\1/p' "$file" | head -1)
  ask "$(basename "$file")" "$file" "$wanted"
done
