#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Writes an SMT-LIB question about a job-shop table: is there a schedule that
# ends by time K? Without K: how early can a schedule end?
#
#   question.sh TABLE [K] > QUESTION.smt2
#
# The table is in the standard form: the numbers of jobs and of machines, then
# a line a job with a pair "machine duration" for each of its operations, in
# the order in which they must run. Each machine does one operation at a time.
set -eu

if [ $# -ne 1 ] && [ $# -ne 2 ]; then
  echo "usage: $0 TABLE [K]" >&2
  exit 2
fi
if [ ! -r "$1" ]; then
  echo "$0: cannot read $1" >&2
  exit 2
fi
case ${2-0} in
  '' | *[!0-9]*)
    echo "$0: K must be a whole number, not '$2'" >&2
    exit 2
    ;;
esac

awk -v k="${2-}" -v name="$(basename "$1")" '
function fail(message) {
  print name ": " message > "/dev/stderr"
  failed = 1
  exit 2
}
# "b starts no sooner than d after a starts"
function after(a, b, d) {
  return "(>= (- " b " " a ") " d ")"
}
BEGIN { jobs = -1; row = 0 }
/^[ \t]*(#|$)/ { next }
jobs < 0 {
  jobs = $1; machines = $2
  next
}
row < jobs {
  if (NF != 2 * machines) {
    fail("line " NR ": " NF " numbers where " 2 * machines " are needed")
  }
  for (i = 0; i < machines; ++i) {
    machine[row, i] = $(2 * i + 1)
    duration[row, i] = $(2 * i + 2)
  }
  ++row
}
END {
  if (failed) exit 2
  if (row < jobs || jobs < 0) fail("fewer jobs than the first line says")
  if (k == "") print "; How early can a schedule of " name " end?"
  else print "; Is there a schedule of " name " that ends by time " k "?"
  print "; s_J_I is the start of operation I of job J."
  print "(set-logic QF_IDL)"
  for (j = 0; j < jobs; ++j)
    for (i = 0; i < machines; ++i)
      print "(declare-const s_" j "_" i " Int)"
  if (k == "") print "(declare-const end Int)"
  print "; Operations of a job run in order, from time 0 to " \
        (k == "" ? "the end" : "time " k) "."
  for (j = 0; j < jobs; ++j) {
    print "(assert (>= s_" j "_0 0))"
    for (i = 1; i < machines; ++i)
      print "(assert " after("s_" j "_" i - 1, "s_" j "_" i,
                             duration[j, i - 1]) ")"
    if (k == "") {
      print "(assert " after("s_" j "_" machines - 1, "end",
                             duration[j, machines - 1]) ")"
      continue
    }
    latest = k - duration[j, machines - 1]
    bound = latest < 0 ? "(- " (-latest) ")" : latest
    print "(assert (<= s_" j "_" machines - 1 " " bound "))"
  }
  print "; Of two operations on one machine, one ends before the other starts."
  for (j = 0; j < jobs; ++j)
    for (l = j + 1; l < jobs; ++l)
      for (i = 0; i < machines; ++i)
        for (m = 0; m < machines; ++m)
          if (machine[j, i] == machine[l, m]) {
            a = "s_" j "_" i; b = "s_" l "_" m
            print "(assert (or " after(a, b, duration[j, i]) " " \
                  after(b, a, duration[l, m]) "))"
          }
  if (k == "") print "(minimize end)"
  print "(check-sat)"
  if (k == "") print "(get-objectives)"
}' "$1"
