#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Answers one cube, and proves it, unless there is an answer:
#
#   answer.sh DIR/cube-001.smt2
#
# VORN is the command, VORN_OPTIONS what it is told, a limit of time above all. A
# job that is killed leaves no answer, only a file that ends in .part. The proof is
# there before the answer that it belongs to.
cube=${1%.smt2}
[ ! -s "$cube.answer" ] || exit 0
part=$cube.$(uname -n).$$
trap 'rm -f "$part".*.part' EXIT
trap 'exit 143' HUP INT TERM
# shellcheck disable=SC2086 # a list of words
"${VORN:-vorn}" ${VORN_OPTIONS:-} --proof "$part.proof.part" "$1" \
  > "$part.answer.part" || exit
[ ! -f "$part.proof.part" ] || mv "$part.proof.part" "$cube.proof"
mv "$part.answer.part" "$cube.answer"
