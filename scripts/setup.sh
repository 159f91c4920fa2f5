# SPDX-License-Identifier: MIT
#
# Sourced by the other scripts, not run: installs Debian packages, configures
# and builds. Says nothing when there is nothing to do.

set -euo pipefail
vorn_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
vorn_jobs=$(nproc)

vorn_packages_build="g++ make cmake pkg-config libgmp-dev libcli11-dev"
vorn_packages_test="libgtest-dev libboost-dev libcadical-dev clang-format python3 mypy parallel"
vorn_packages_fuzz="clang libclang-rt-14-dev"
vorn_packages_doc="doxygen graphviz fonts-dejavu-core"

# Runs a command with its output in a log, which is shown if it fails.
vorn_quietly() {
  local log=$1
  shift
  mkdir -p "$(dirname "$log")"
  if ! "$@" >"$log" 2>&1 </dev/null; then
    echo "This failed: $*" >&2
    tail -n 60 "$log" >&2
    echo "The whole output is in $log" >&2
    return 1
  fi
}

# Installs those of the named packages that are missing.
vorn_install() {
  local missing=() package status
  for package in "$@"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null ||
      true)
    [ "$status" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if ! command -v apt-get >/dev/null; then
    echo "Vorn needs these packages (by their Debian names):" >&2
    echo "  ${missing[*]}" >&2
    return 1
  fi
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
      as_root=(sudo -n)
    elif command -v sudo >/dev/null && [ -t 0 ]; then
      as_root=(sudo)
    else
      echo "Vorn needs some packages. Install them as root, then try again:" >&2
      echo "  apt-get install ${missing[*]}" >&2
      return 1
    fi
  fi
  echo "Installing ${missing[*]} ..." >&2
  local log="$vorn_root/build/apt.log"
  as_root+=(env DEBIAN_FRONTEND=noninteractive)
  vorn_quietly "$log" "${as_root[@]}" apt-get update
  vorn_quietly "$log" "${as_root[@]}" apt-get install -y \
    --no-install-recommends "${missing[@]}"
}

# Configures a preset, with tests (ON) or without (OFF), and builds targets of
# it (all, if none is named):
#   vorn_build PRESET TESTS [TARGET ...]
# A preset that has tests keeps them, so that the two uses of one build folder
# do not configure it in turn.
vorn_build() {
  local preset=$1 tests=$2
  shift 2
  local build="$vorn_root/build/$preset"
  if [ ! -f "$build/Makefile" ] ||
    { [ "$tests" = ON ] &&
      ! grep -q '^VORN_BUILD_TESTS:BOOL=ON' "$build/CMakeCache.txt"; }; then
    vorn_quietly "$build.configure.log" cmake -S "$vorn_root" \
      --preset "$preset" -DVORN_BUILD_TESTS="$tests" \
      -DVORN_BUILD_EXAMPLES="$tests"
  fi
  local targets=() log=$build.build.log live=no
  [ $# -eq 0 ] || targets=(--target "$@")
  [ ! -t 2 ] || live=yes
  if ! cmake --build "$build" -j "$vorn_jobs" "${targets[@]}" 2>&1 </dev/null |
    tee "$log" | vorn_show_progress "$preset" $live >&2; then
    tail -n 60 "$log" >&2
    echo "Building failed; the whole output is in $log" >&2
    return 1
  fi
}

# Turns what make prints while it compiles for a preset into one line that
# grows; on a terminal (yes) into one that changes.
vorn_show_progress() {
  local line percent shown=-1
  while IFS= read -r line; do
    [[ $line =~ ^\[\ *([0-9]+)%\]\ Building ]] || continue
    percent=${BASH_REMATCH[1]}
    if [ "$2" = yes ]; then
      printf '\rBuilding Vorn (%s): %s%%' "$1" "$percent"
    elif [ "$shown" -lt 0 ]; then
      printf 'Building Vorn (%s):' "$1"
    elif [ "$percent" -ge $((shown + 10)) ]; then
      printf ' %s%%' "$percent"
    else
      continue
    fi
    shown=$percent
  done
  [ "$shown" -lt 0 ] || echo
}
