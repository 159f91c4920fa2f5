#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Answers the cubes of a folder with GNU parallel, on the processors of this machine,
# or elsewhere by its options:
#
#   parallel.sh DIR [--jobs 4] [--sshlogin host1,host2 --workdir . ...]
#
# Jobs that fail are asked again twice; started once more, it asks for what is missing.
# Hosts need vorn, this folder and DIR under the same path, on a shared disk say.
dir=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
find "$dir" -name 'cube-*.smt2' | sort |
  parallel --will-cite --retries 3 "$@" "$here/answer.sh"
