#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Asks vorn about job-shop tables at their optimum and one below, and about the
# SMT-LIB files named, and prints a Markdown table:
#
#   bench/measure_solving.sh [FILE.smt2 ...]
#
# Each is asked three times: with cycles of the graph alone, with propagation as
# well, and with sets of tasks, too, which is vorn as it is. Seconds are processor
# time of the whole command, one run each, with the conflicts in brackets; a run
# without an answer in 20 s shows as such. Models are checked; a wrong verdict (by
# the table of optima, or by a file's :status) shows as WRONG.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build
vorn_build release OFF vorn_command
vorn=$vorn_root/build/release/bin/vorn
jobshop=$vorn_root/examples/jobshop

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TIMEFORMAT=%U
limit=20

echo "| question | verdict | cycles | propagation | sets of tasks |"
echo "|---|---|---|---|---|"

# run FILE WANTED OPTION ...: "verdict seconds (conflicts)".
run() {
  local file=$1 wanted=$2 seconds
  shift 2
  seconds=$({ time "$vorn" --stats --timeout $limit "$@" "$file" \
    >"$work/answer"; } 2>&1)
  awk -v wanted="$wanted" -v seconds="$seconds" -v limit="$limit" '
    /^(sat|unsat|unknown)$/ { verdict = verdict (verdict ? " " : "") $1 }
    /^; / { sub(/^; /, ""); split($0, pair, ": "); value[pair[1]] = pair[2] }
    END {
      if (verdict == "unknown") {
        printf "- over %d\n", limit
        exit
      }
      if (wanted != "" && verdict != wanted) verdict = "WRONG"
      printf "%s %.2f (%d)\n", verdict, seconds, value["conflicts"]
    }' "$work/answer"
}

# ask NAME FILE WANTED: one row.
ask() {
  local verdict=- answer cells=
  for settings in "--propagation off --machines off" "--machines off" ""; do
    # shellcheck disable=SC2086 # a list of words
    answer=$(run "$2" "$3" $settings)
    case $verdict,${answer%% *} in
      WRONG,* | *,-) ;;
      *) verdict=${answer%% *} ;;
    esac
    cells="$cells ${answer#* } |"
  done
  echo "| $1 | $verdict |$cells"
}

tail -n +2 "$jobshop/optima.tsv" | while read -r table _ _ optimum _; do
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
