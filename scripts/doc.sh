#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Makes the API reference of the library and of the solver in build/doc:
#
#   scripts/doc.sh
#
# Fails if a public name is not documented, the text has a mistake, or a picture
# in docs/ is not what its source says.
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# shellcheck disable=SC2086 # a list of words
vorn_install $vorn_packages_doc
cd "$vorn_root"
export VORN_DOC_OUTPUT=$vorn_root/build/doc
mkdir -p "$VORN_DOC_OUTPUT"
if ! doxygen docs/Doxyfile 2>"$VORN_DOC_OUTPUT/warnings.txt"; then
  cat "$VORN_DOC_OUTPUT/warnings.txt" >&2
  echo "The API reference has gaps or mistakes, see above." >&2
  exit 1
fi
# Doxygen takes an opening backquote and a quote for a quotation, and says nothing.
if grep -l ilinebr "$VORN_DOC_OUTPUT"/html/*.html >&2; then
  echo "These pages are garbled: a code span holds single quotes." >&2
  exit 1
fi
docs/draw.sh --check
echo "The API reference is in build/doc/html/index.html"
