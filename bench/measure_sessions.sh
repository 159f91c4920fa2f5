#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Measures what a round costs in sessions of 5,000 and 100,000 rounds, in time and
# in memory, and prints a Markdown table:
#
#   bench/measure_sessions.sh [--fill] [ARGUMENT ...]
#
# ARGUMENTs are those of bench/sessions.py behind the command. --fill puts the
# table into docs/solving.md as well. Takes some four minutes.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

fill=false
if [ "${1-}" = --fill ]; then
  fill=true
  shift
fi

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build python3
vorn_build release OFF vorn_command

table=$vorn_root/build/sessions.md
python3 -B "$vorn_root/bench/sessions.py" \
  "$vorn_root/build/release/bin/vorn" "$@" | tee "$table"
! $fill || vorn_fill_page "$vorn_root/docs/solving.md" sessions "$table"
