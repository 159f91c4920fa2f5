#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Draws the pictures of the documentation:
#
#   docs/draw.sh [--check]
#
# docs/NAME.dot becomes docs/NAME.svg, and docs/conflict.smt2, by way of
# vorn --dot, docs/conflict.svg. With --check nothing is changed; it fails if a
# picture in docs/ says something else than one drawn now, or if Graphviz
# complains about what vorn writes. VORN names a command that is built already.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/setup.sh"

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_doc
[ -n "${VORN-}" ] || vorn_build release OFF vorn_command
vorn=${VORN:-$vorn_root/build/release/bin/vorn}
docs=$vorn_root/docs
work=$vorn_root/build/pictures
mkdir -p "$work"

# draw NAME: work/NAME.dot to work/NAME.svg; a warning is an error.
draw() {
  dot -Tsvg "$work/$1.dot" >"$work/$1.svg" 2>"$work/$1.warnings"
  if [ -s "$work/$1.warnings" ]; then
    cat "$work/$1.warnings" >&2
    return 1
  fi
}

# Sizes and places depend on the fonts of the machine; the words do not.
words_of() {
  grep -o '<text[^>]*>[^<]*</text>' "$1" | sed 's/<[^>]*>//g' | LC_ALL=C sort
}

for file in "$docs"/*.dot; do cp "$file" "$work/"; done
"$vorn" --dot "$work/conflict.dot" "$docs/conflict.smt2" >"$work/answer"
grep -qx unsat "$work/answer"
# Symbols that need quoting, in a graph that is not part of any page.
"$vorn" --dot "$work/odd_names.dot" "$vorn_root/tests/docs/odd_names.smt2" \
  >"$work/answer"
for file in "$work"/*.dot; do draw "$(basename "$file" .dot)"; done
for name in '|&quot;a&quot; &amp; &lt;b&gt; {c}; #d|' '|two lines|' '|&amp;lt;|'; do
  if ! words_of "$work/odd_names.svg" | sed 's/&#45;/-/g; s/&#160;/ /g' |
    grep -qxF -e "$name"; then
    echo "$work/odd_names.svg does not show $name" >&2
    exit 1
  fi
done

for name in conflict layers life; do
  if [ "${1-}" != --check ]; then
    cp "$work/$name.svg" "$docs/$name.svg"
  elif ! diff <(words_of "$docs/$name.svg") <(words_of "$work/$name.svg"); then
    echo "docs/$name.svg is not up to date; run docs/draw.sh" >&2
    exit 1
  fi
done
