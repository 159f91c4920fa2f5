#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Answers the cubes of a folder with Slurm, a job array of all whose answer is missing,
# and waits for them:
#
#   slurm.sh DIR [--time 60 --mem-per-cpu 4G ...]
#
# Jobs of nodes that fail are queued again; started once more, it asks for what is
# missing. Nodes see this folder and DIR under the same path.
dir=$(cd "$1" && pwd)
shift
here=$(cd "$(dirname "$0")" && pwd)
count=0
: > "$dir/jobs.part"
for script in "$dir"/cube-*.smt2; do
  [ ! -s "${script%.smt2}.answer" ] || continue
  echo "$script" >> "$dir/jobs.part"
  count=$((count + 1))
done
[ "$count" -gt 0 ] || exit 0
mv "$dir/jobs.part" "$dir/jobs"
exec sbatch --wait --requeue --array "1-$count" --cpus-per-task 1 \
  --job-name vorn --output "$dir/slurm-%a.part" "$@" \
  --wrap "\"$here/answer.sh\" \"\$(sed -n \"\${SLURM_ARRAY_TASK_ID}p\" \"$dir/jobs\")\""
