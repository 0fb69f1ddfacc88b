#!/usr/bin/env bash
# Installs a build tree into a fresh prefix, then builds the example program
# against the installed tree twice, through find_package(mirt64) and through
# pkg-config, runs both builds and reads their coverage files with the
# installed report tool.
# Usage: check_install.sh BUILD_TREE SOURCE_TREE
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in include/mirt64.h bin/mirt-report; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
pc=$(find "$prefix" -name mirt64.pc)
config=$(find "$prefix" -name mirt64Config.cmake)
[ -n "$pc" ] && [ -n "$config" ] || { echo "no mirt64.pc or mirt64Config.cmake under $prefix"; exit 1; }

# Runs a built example in a folder of its own (it leaves its coverage and
# trace files there) and checks that it loaded the installed library.
run_example() {
  local exe=$1 how=$2
  local libs
  libs=$(ldd "$exe")
  grep -q "$prefix/.*libmirt64.so" <<<"$libs" || { echo "$how: not linked to the installed library: $libs"; exit 1; }
  mkdir -p "$work/run-$how"
  # Points listed in the machine's index file would join the demo's counts.
  rm -f /tmp/index.txt
  local out
  out=$(cd "$work/run-$how" && "$exe")
  [ "$out" = "$(printf 'vowels: 12\nlongest word: 8 letters')" ] || { echo "$how: unexpected output: $out"; exit 1; }
  [ -e "$work/run-$how/trace.out" ] || { echo "$how: no trace file"; exit 1; }
  local summary
  # Run where no line map lies below: the report would take the build's maps in.
  summary=$(cd "$work/run-$how" && "$prefix/bin/mirt-report" summary demo_coverage.out)
  grep -q "^all 2 test cases: 2 files," <<<"$summary" ||
    { echo "$how: the installed mirt-report does not read the demo's coverage file"; exit 1; }
  echo "$how: built and ran against the installed tree"
}

cmake -S "$source/tests/install/consumer" -B "$work/cmake-build" \
  -DCMAKE_PREFIX_PATH="$prefix" -DMIRT_EXAMPLE="$source/examples/demo.cpp" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
run_example "$work/cmake-build/demo" find_package

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc")
libdir=$(pkg-config --variable=libdir mirt64)
# shellcheck disable=SC2046 # the flags are meant to split into words
c++ -std=c++17 "$source/examples/demo.cpp" $(pkg-config --cflags --libs mirt64) -Wl,-rpath,"$libdir" -o "$work/demo-pc"
run_example "$work/demo-pc" pkg-config

echo "installed tree checked"
