#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# What bash offers behind some beginnings of a command line.
#   completion.sh SOURCE
set -eu
cd "$1"
source cmake/completions/vorn.bash

# The word to complete, and the one before it.
offer() {
  _vorn vorn "$1" "$2"
  printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd ' '
}
offer '' --lemmas
offer o --check-models
offer --lemma- vorn
cd examples
offer jobshop/ft06- vorn
offer jobsh --stats
