#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
#   abi_test.sh LIBRARY ABI HEADER
#
# What the shared library offers is what the file ABI says: its name, and each
# symbol with its version. The header declares each of them and nothing else.
set -euo pipefail
library=$1 abi=$2 header=$3

offered() {
  readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/soname \1/p'
  # A sanitizer adds symbols of its own.
  nm -D --defined-only --with-symbol-versions "$library" |
    awk '$2 != "A" { print $3 }' | grep -v '^__odr_asan' | LC_ALL=C sort
}
diff "$abi" <(offered) || {
  echo "$library does not offer what $abi says" >&2
  exit 1
}
diff <(sed -n 's/@.*//p' "$abi") \
  <(grep -o '\bvorn_[a-z0-9_]*(' "$header" | tr -d '(' | LC_ALL=C sort -u)
