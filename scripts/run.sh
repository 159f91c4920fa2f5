#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Sets up and runs vorn:
#
#   scripts/run.sh [ARGS]
#
# Installs what is missing, builds, and runs vorn on ARGS. Without ARGS, asks it
# about the shortest schedule of a classic job-shop problem.
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

# ask LENGTH: is there a schedule of that length? The answer comes with its
# evidence, a model or a proof, which a program of its own checks.
ask() {
  local question=$answers/ft06-$1.smt2 evidence=$answers/ft06-$1 answer
  printf 'Is there a schedule of length %s? ' "$1"
  cp "$examples/ft06-$1.smt2" "$question"
  answer=$("$vorn" --proof "$evidence.proof" "$question")
  printf '%s' "$answer"
  if [ "$answer" = sat ]; then
    { cat "$question"; echo '(get-model)'; } | "$vorn" >"$evidence.model"
    "$vorn-check" --model "$question" "$evidence.model" >/dev/null
  else
    "$vorn-check" "$question" "$evidence.proof" >/dev/null
  fi
  echo ', checked'
}

echo "ft06: 6 jobs of 6 operations on 6 machines, each machine one at a time."
ask 55
ask 54
echo "sat: yes, there is one. unsat: no, proved. So 55 is the shortest."
