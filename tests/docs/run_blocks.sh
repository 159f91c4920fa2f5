#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
#   run_blocks.sh PAGE VORN WORK
#
# Runs the examples of a Markdown page, in order, in the new folder WORK, with
# the folder of the command VORN first on the path:
#
#   ```smt2   is written to the file that its first line, "; NAME", names;
#   ```sh     is run; what it prints must be the ```text block behind it, and
#             nothing if there is none.
set -euo pipefail
page=$(realpath "$1")
vorn=$(realpath "$2")
export VORN_SOURCE
VORN_SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
rm -rf "$3"
mkdir -p "$3"
cd "$3"
PATH=$(dirname "$vorn"):$PATH

# Sets `body` to the lines up to the closing fence.
read_block() {
  local line
  body=
  while IFS= read -r line && [[ $line != '```' ]]; do
    body+=$line$'\n'
  done
}

commands= output= ran=0
compare() {
  [[ -n $commands ]] || return 0
  if [[ $output != "$1" ]]; then
    printf 'This:\n%s\nprinted:\n%s\nThe page says:\n%s\n' \
      "$commands" "$output" "$1" >&2
    exit 1
  fi
  commands=
  ran=$((ran + 1))
}

while IFS= read -r line; do
  case $line in
    '```smt2')
      read_block
      name=${body%%$'\n'*}
      printf '%s' "$body" >"${name#; }"
      ;;
    '```sh')
      compare ''
      read_block
      commands=$body
      output=$(bash -euo pipefail -c "$body" 2>&1 && echo .) || {
        printf 'This failed:\n%s\n%s\n' "$body" "$output" >&2
        exit 1
      }
      output=${output%.}
      ;;
    '```text')
      read_block
      compare "$body"
      ;;
    '```'*)
      read_block
      ;;
  esac
done <"$page"
compare ''
if [[ $ran -eq 0 ]]; then
  echo "$page has nothing to run" >&2
  exit 1
fi
echo "ran $ran blocks"
