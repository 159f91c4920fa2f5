#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Makes the API reference of the library in build/doc:
#
#   scripts/doc.sh
#
# Fails if a public name of vorn/ is not documented, or the text has a mistake.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

vorn_install doxygen
cd "$vorn_root"
export VORN_DOC_OUTPUT=$vorn_root/build/doc
mkdir -p "$VORN_DOC_OUTPUT"
if ! doxygen docs/Doxyfile 2>"$VORN_DOC_OUTPUT/warnings.txt"; then
  cat "$VORN_DOC_OUTPUT/warnings.txt" >&2
  echo "The API reference has gaps or mistakes, see above." >&2
  exit 1
fi
echo "The API reference is in build/doc/html/index.html"
