# SPDX-License-Identifier: MIT
#
# Sourced by the scripts that measure, not run: builds the benchmarks, and puts
# what they print into the documentation.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/setup.sh"

# Builds the benchmark program, and prints where it is.
vorn_build_bench() {
  local build=$vorn_root/build/bench
  # shellcheck disable=SC2086 # a list of words
  vorn_install $vorn_packages_build libbenchmark-dev libboost-dev
  if [ ! -f "$build/Makefile" ]; then
    vorn_quietly "$build.configure.log" cmake -S "$vorn_root" \
      --preset release -B "$build" -DVORN_BUILD_BENCH=ON -DVORN_BUILD_TESTS=OFF
  fi
  vorn_quietly "$build.build.log" \
    cmake --build "$build" -j "$vorn_jobs" --target vorn_bench
  echo "$build/bench/vorn_bench"
}

# Replaces what stands in PAGE between the comments "NAME: begin" and
# "NAME: end" by the text in FILE:
#   vorn_fill_page PAGE NAME FILE
vorn_fill_page() {
  local page=$1 name=$2 file=$3 filled
  filled=$(mktemp)
  awk -v begin="<!-- $name: begin -->" -v end="<!-- $name: end -->" \
    -v file="$file" '
    $0 == end { inside = 0 }
    !inside { print }
    $0 == begin {
      print ""
      while ((getline row < file) > 0) print row
      print ""
      inside = 1
    }' "$page" >"$filled"
  cat "$filled" >"$page"
  rm "$filled"
}
