#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs one of examples/cluster's ways to answer cubes, where jobs get lost and fail and
# some cubes are too hard for their limit of time:
#
#   cluster_test.sh parallel|make|slurm CLUSTER VORN VORN_CHECK
#
# Slurm's sbatch is a stand-in, which runs the jobs of an array one after the other with
# what Slurm tells them.
set -euo pipefail
way=$1 cluster=$2 vorn=$3 check=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Nine pigeons do not fit into eight holes.
{
  echo '(set-logic QF_IDL)'
  for i in {1..9}; do
    any=
    for k in {1..8}; do
      any="$any p$i-$k"
      echo "(declare-const p$i-$k Bool)"
      for ((j = 1; j < i; ++j)); do
        echo "(assert (or (not p$i-$k) (not p$j-$k)))"
      done
    done
    echo "(assert (or$any))"
  done
  echo '(check-sat)'
} > question.smt2

# The command, but every other job of the first round dies, one without a word and
# one in the middle of its answer.
cat > unreliable <<END
#!/bin/sh
for script; do :; done
mark="$work/\$(basename "\$script").mark"
if [ -e "$work/reliable" ] || [ -e "\$mark" ]; then exec "$vorn" "\$@"; fi
: > "\$mark"
case \$script in
  *[02468].smt2) kill -9 \$\$ ;;
  *[159].smt2) printf '"cube'; exit 1 ;;
esac
exec "$vorn" "\$@"
END
cat > sbatch <<'END'
#!/bin/bash
wrap= last=0
while [ $# -gt 0 ]; do
  case $1 in
    --wrap) wrap=$2; shift ;;
    --array) last=${2#1-}; shift ;;
  esac
  shift
done
[ -n "$wrap" ] && [ "$last" -gt 0 ] || exit 2
for ((k = 1; k <= last; ++k)); do
  SLURM_ARRAY_TASK_ID=$k sh -c "$wrap" || true
done
END
chmod +x unreliable sbatch
export PATH="$work:$PATH" VORN=$work/unreliable

# A full disk, as far as a limit on the size of files is one: full KIBIBYTES COMMAND ...
# has to fail.
full() {
  local room=$1
  shift
  if (trap '' XFSZ && ulimit -f "$room" && "$@") 2> full.errors; then
    echo "$1 does not notice a full disk"
    exit 1
  fi
}

# The question just fits, and no cube does: what is there of them is no split.
size=$(wc -c < question.smt2)
room=$((size / 1024 + 1))
{ printf '%*s\n' $((room * 1024 - size - 1)) ';' && cat question.smt2; } > just.smt2
full "$room" "$vorn" --split 5 small just.smt2
grep -q '^vorn: cannot write small/cube-[0-9]*.smt2: File too large$' full.errors
if "$vorn" --join small 2> join.errors; then exit 1; fi
grep -q 'nothing was split there, or not to the end$' join.errors

"$vorn" --split 5 cubes question.smt2
export VORN_OPTIONS="--timeout 60"
VORN=$vorn full 8 "$cluster/answer.sh" cubes/cube-001.smt2
[ ! -e cubes/cube-001.answer ]
ask() {
  case $way in
    parallel) "$cluster/parallel.sh" cubes --jobs 2 --retries 1 ;;
    make) make -s -k -j 2 -f "$cluster/cubes.mk" DIR=cubes ;;
    slurm) "$cluster/slurm.sh" cubes --time 10 ;;
  esac
}

# What was lost is missing, and nothing else: each cube has an answer as a whole or none.
ask > /dev/null 2>&1 || true
lost=$("$vorn" --join cubes | grep -c '^;   cube-.*smt2$')
if [ "$lost" -eq 0 ] || [ "$lost" -ge 5 ]; then
  echo "$lost of 5 cubes are missing"
  exit 1
fi
before=$(cat cubes/cube-*.answer | cksum)

# What is missing is asked again, and nothing else.
: > reliable
ask > /dev/null
full 8 "$vorn" --join cubes --proof whole.proof > join.reply
grep -q '^vorn: no proof is written: cannot write whole.proof: File too large$' full.errors
[ "$(cat join.reply)" = unsat ] && [ ! -e whole.proof ]
[ "$("$vorn" --join cubes --proof whole.proof)" = unsat ]
[ "$("$check" question.smt2 whole.proof)" = valid ]
find cubes -name '*.part' -size +0 ! -name 'slurm-*' | grep . && exit 1
[ "$(find cubes -name '*.answer' ! -newer reliable -exec cat {} + | cksum)" = "$before" ]

# Cubes that take more than so many conflicts come back in parts until none does.
{ echo '(set-option :reproducible-resource-limit 2000)' && cat question.smt2; } > hard.smt2
"$vorn" --split 1 hard hard.smt2 > /dev/null
export VORN_OPTIONS=
case $way in
  parallel) again=("$cluster/parallel.sh" hard --jobs 2) ;;
  make) again=(make -s -k -j 2 -f "$cluster/cubes.mk" DIR=hard) ;;
  slurm) again=("$cluster/slurm.sh" hard) ;;
esac
[ "$("$cluster/until_answered.sh" hard "${again[@]}" 2> /dev/null | tail -1)" = unsat ]
[ "$("$check" hard.smt2 hard/whole.proof)" = valid ]
[ "$(find hard -name '*.answer' | wc -l)" -gt 1 ]
echo "$way: $(find hard -name '*.proof' | wc -l) proofs"
