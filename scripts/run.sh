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
vorn_build release OFF vorn_command
vorn=$vorn_root/build/release/bin/vorn

if [ $# -gt 0 ]; then
  exec "$vorn" "$@"
fi

examples=$vorn_root/examples/jobshop
echo "ft06: 6 jobs of 6 operations on 6 machines, each machine one at a time."
printf 'Is there a schedule of length 55? '
"$vorn" "$examples/ft06-55.smt2"
printf 'Is there a schedule of length 54? '
"$vorn" "$examples/ft06-54.smt2"
echo "sat: yes, there is one. unsat: no, proved. So 55 is the shortest."
