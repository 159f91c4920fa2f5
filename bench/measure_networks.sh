#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Measures what large networks without choices cost, in time and memory, beside
# a bare scanner with relaxation on plain arrays, and prints a Markdown table:
#
#   bench/measure_networks.sh [--fill] [ARGUMENT ...]
#
# ARGUMENTs are those of bench/networks.py behind the programs. --fill puts the
# table into docs/performance.md as well. Takes some five minutes and 3 GB.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

fill=false
if [ "${1-}" = --fill ]; then
  fill=true
  shift
fi

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_build python3
vorn_build release OFF vorn_command
plain=$vorn_root/build/plain_network
"${CXX:-c++}" -O3 -std=c++17 "$vorn_root/bench/plain_network.cc" -o "$plain"

table=$vorn_root/build/networks.md
python3 -B "$vorn_root/bench/networks.py" \
  "$vorn_root/build/release/bin/vorn" "$plain" "$@" | tee "$table"
! $fill || vorn_fill_page "$vorn_root/docs/performance.md" networks "$table"
