#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Compares two settings of vorn, or two builds of it, on families of questions
# that bench/families/ generates:
#
#   bench/families/measure.sh [--fill] [OPTION ...] [FILE.smt2 ...]
#
# OPTIONs are those of bench/families/compare.py, --help lists them. Without
# --contestant the two are vorn without propagation of implied literals and sets
# of tasks, and vorn as it is, with eight seeds for what both answer within a second; without
# --tables the job-shop tables are those in examples/jobshop/. Prints a Markdown
# report; --fill puts it into docs/solving.md as well. The standard questions
# take an hour.
source "$(dirname "${BASH_SOURCE[0]}")/../setup.sh"

fill=false
vorn=$(printf %q "$vorn_root/build/release/bin/vorn")
contestants=(--contestant "off=$vorn --stats --propagation off --machines off"
  --contestant "auto=$vorn --stats")
tables=(--tables "$vorn_root/examples/jobshop")
seeds=(--repeats 8 --take mean --seed-option=--seed --short 1)
given=()
for argument in "$@"; do
  case $argument in
    --fill) fill=true ;;
    --contestant | --contestant=*) contestants=() seeds=() ;;&
    --tables | --tables=*) tables=() ;;&
    *) given+=("$argument") ;;
  esac
done

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build python3
vorn_build release OFF vorn_command

page=$vorn_root/docs/solving.md
if $fill && ! grep -q '^<!-- families: begin -->$' "$page"; then
  echo "docs/solving.md has no place for the report: the comments" >&2
  echo "families: begin and families: end" >&2
  exit 1
fi
report=$vorn_root/build/families/report.md
mkdir -p "${report%/*}"
rm -f "$report"
status=0
python3 -B "$vorn_root/bench/families/compare.py" --output "$report" \
  "${contestants[@]}" "${seeds[@]}" "${tables[@]}" "${given[@]}" || status=$?
[ ! -f "$report" ] || cat "$report"
if $fill && [ "$status" -eq 0 ]; then
  vorn_fill_page "$page" families "$report"
fi
exit "$status"
