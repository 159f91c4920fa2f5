#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Measures what lemmas do for job-shop questions, as Markdown tables:
#
#   bench/measure_lemmas.sh [TABLE ...]
#
# Each table (la01 to la05 if none is named) is asked for a schedule of its
# optimum and of one less, without lemmas and with each kind at each overlap.
# Times are seconds of the whole command, one run each.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build
vorn_build release OFF vorn_command
vorn=$vorn_root/build/release/bin/vorn
jobshop=$vorn_root/examples/jobshop
[ $# -gt 0 ] || set -- la01 la02 la03 la04 la05
limit=120

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TIMEFORMAT=%U

# One run; a row "table k kinds overlap verdict wanted seconds conflicts ...".
measure() {
  local table=$1 k=$2 wanted=$3 kinds=$4 overlap=$5 seconds
  "$jobshop/question.sh" "$jobshop/$table.txt" "$k" >"$work/question.smt2"
  seconds=$({ time "$vorn" --stats --timeout $limit --lemmas "$kinds" \
    --lemma-overlap "$overlap" "$work/question.smt2" >"$work/answer"; } 2>&1)
  awk -v row="$table $k $kinds $overlap" -v wanted="$wanted" \
    -v seconds="$seconds" '
    NR == 1 { verdict = $1 }
    /^; / { sub(/^; /, ""); split($0, pair, ": "); value[pair[1]] = pair[2] }
    END {
      print row, verdict, wanted, seconds, value["conflicts"] + 0,
            value["dl tlemma searches"] + 0, value["lemmas used"] + 0,
            value["dl endless walks avoided"] + 0
    }' "$work/answer"
}

for table in "$@"; do
  optimum=$(awk -v t="$table" '$1 == t { print $4 }' "$jobshop/optima.tsv")
  for question in "$optimum sat" "$((optimum - 1)) unsat"; do
    # shellcheck disable=SC2086 # two words
    measure "$table" $question none 0.5 >>"$work/rows"
    for kinds in short long both; do
      for overlap in 0.3 0.5 0.7; do
        # shellcheck disable=SC2086 # two words
        measure "$table" $question $kinds $overlap >>"$work/rows"
      done
    done
  done
done

echo "All questions together:"
echo
awk '
BEGIN {
  print "| lemmas | overlap | right verdicts | seconds | conflicts |" \
        " searches | clauses used | walks left out |"
  print "|---|---|---|---|---|---|---|---|"
}
{
  key = $3 == "none" ? "none | -" : $3 " | " $4
  if (!(key in asked)) order[++n] = key
  ++asked[key]
  right[key] += $5 == $6
  for (i = 7; i <= 11; ++i) sum[key, i] += $i
}
END {
  for (i = 1; i <= n; ++i) {
    k = order[i]
    printf "| %s | %d of %d | %.2f | %d | %d | %d | %d |\n", k, right[k],
           asked[k], sum[k, 7], sum[k, 8], sum[k, 9], sum[k, 10], sum[k, 11]
  }
}' "$work/rows"
echo
echo "Each question, seconds and (conflicts):"
echo
awk '
{
  q = $1 " | " $2 " | " $6
  if (!(q in seen)) { seen[q] = 1; questions[++n] = q }
  s = $3 == "none" ? "none" : $3 " " $4
  if (!(s in known)) { known[s] = 1; settings[++m] = s }
  cell[q, s] = ($5 == $6 ? "" : $5 ": ") $7 " (" $8 ")"
}
END {
  line = "| table | length | answer |"; rule = "|---|---|---|"
  for (j = 1; j <= m; ++j) { line = line " " settings[j] " |"; rule = rule "---|" }
  print line; print rule
  for (i = 1; i <= n; ++i) {
    line = "| " questions[i] " |"
    for (j = 1; j <= m; ++j) line = line " " cell[questions[i], settings[j]] " |"
    print line
  }
}' "$work/rows"
