#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs vorn:
#
#   scripts/run.sh [ARGS]
#
# Installs what is missing, builds, and runs vorn on ARGS. Without ARGS, asks it
# for the shortest schedule of a classic job-shop problem, has the answer checked
# and draws it.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build
vorn_build release OFF vorn_command vorn_check
vorn=$vorn_root/build/release/bin/vorn

if [ $# -gt 0 ]; then
  exec "$vorn" "$@"
fi

examples=$vorn_root/examples/jobshop
answers=$vorn_root/build/release/answers
mkdir -p "$answers"

# The question without a length; the model comes as evidence, which a program of
# its own checks.
echo "ft06: 6 jobs of 6 operations on 6 machines, each machine one at a time."
printf 'How early can a schedule end? '
question=$answers/ft06.smt2
{ "$examples/question.sh" "$examples/ft06.txt" && echo '(get-model)'; } >"$question"
"$vorn" --gantt "$answers/ft06.svg" "$question" >"$answers/ft06.model"
printf '%s' "$(sed -n 's/^(objectives (end \([0-9]*\)))$/\1/p' "$answers/ft06.model")"
"$vorn-check" --model "$question" "$answers/ft06.model" >/dev/null
echo ', checked'

# That there is none sooner comes with a proof.
printf 'Is there a schedule of length 54? '
question=$examples/ft06-54.smt2
printf '%s' "$("$vorn" --proof "$answers/ft06-54.proof" "$question")"
"$vorn-check" "$question" "$answers/ft06-54.proof" >/dev/null
echo ', checked'
echo "unsat: no, proved. So 55 is the shortest."
echo "The schedule as a chart: ${answers#"$vorn_root"/}/ft06.svg"
