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

# The answer comes with its evidence, a model and a proof that none is better,
# which a program of its own checks.
echo "ft06: 6 jobs of 6 operations on 6 machines, each machine one at a time."
printf 'How early can a schedule end? '
question=$answers/ft06.smt2
answer=$answers/ft06.answer
proof=$answers/ft06.proof
{ "$examples/question.sh" "$examples/ft06.txt" && echo '(get-model)'; } >"$question"
"$vorn" --gantt "$answers/ft06.svg" --proof "$proof" "$question" >"$answer"
end=$(sed -n 's/^(objectives (end \([0-9]*\)))$/\1/p' "$answer")
printf '%s' "$end"
"$vorn-check" --assume "(<= end $end)" --model "$question" "$answer" >/dev/null
echo ', checked'
printf 'Can one end earlier? no'
"$vorn-check" --assume "(< end $end)" "$question" "$proof" >/dev/null
echo ', checked'
echo "The schedule as a chart: ${answers#"$vorn_root"/}/ft06.svg"
