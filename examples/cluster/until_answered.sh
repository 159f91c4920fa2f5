#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Joins what has come, and asks for what is missing, until there is an answer:
#
#   until_answered.sh DIR ./parallel.sh DIR --jobs 4
#   until_answered.sh DIR make -k -j 4 -f cubes.mk DIR=DIR
#
# Cubes whose answer is unknown come back as two, so a limit of time for each, in
# VORN_OPTIONS, is all that has to be chosen.
dir=$1
shift
while :; do
  answer=$("${VORN:-vorn}" --join "$dir" --proof "$dir/whole.proof") || exit
  case $answer in
    unknown*) "$@" || true ;;
    *) break ;;
  esac
done
echo "$answer"
