#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Plants mistakes in the core, one at a time, and sees whether a test notices:
#
#   tests/mutation/mutate.sh [--count N] [--seed N] [--files GLOB] [--jobs N] [--resume]
#   tests/mutation/mutate.sh --sample
#
# N mistakes (300) are chosen by the seed (1) and shared out among the files of
# vorn/, or those that match the GLOB, by their size. --sample makes 20, which
# takes minutes. --resume keeps what an earlier run has found killed, unless the
# mutated file has changed since. --list only shows the mistakes.
#
# The report is build/mutation/report.md; what survives is to be killed by a new
# test, or explained in tests/mutation/equivalent.txt. Fails if something
# survives unexplained.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

# shellcheck disable=SC2086 # lists of words
vorn_install $vorn_packages_build $vorn_packages_test python3
export PYTHONDONTWRITEBYTECODE=1
exec python3 "$vorn_root/tests/mutation/mutate.py" "$@"
