#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Formats every source file, or with --check only says which are not formatted.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mode=(-i)
[ "${1-}" != --check ] || mode=(--dry-run --Werror)
find . \( -path ./build -o -path ./.git \) -prune -o \
  \( -name '*.h' -o -name '*.cc' \) -print0 |
  xargs -0 clang-format "${mode[@]}"
