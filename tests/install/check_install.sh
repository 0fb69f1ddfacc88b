#!/usr/bin/env bash
# Installs a build tree into a fresh prefix, then builds the example program
# against the installed tree twice, through find_package(mirt64) and through
# pkg-config, runs both builds and reads their coverage files with the
# installed report tool. With the instrumenting tools, it also builds a
# project with coverage from the installed tree alone: one call through the
# package, and the installed coverage module as the project include.
# Usage: check_install.sh BUILD_TREE SOURCE_TREE [1 when the tools are built]
set -euo pipefail
build=$1
source=$2
tools=${3:-0}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in include/mirt64.h bin/mirt-report; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
if ls "$build"/packages/*.nupkg >/dev/null 2>&1; then
  ls "$prefix"/share/mirt64/packages/*.nupkg >/dev/null 2>&1 || { echo "not installed: the NuGet package"; exit 1; }
fi
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

if [ "$tools" = 1 ]; then
  for f in bin/mirt-cc bin/mirt-instrument; do
    [ -x "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
  done
  module=$(find "$prefix" -name MirtCoverage.cmake)
  [ -n "$module" ] || { echo "no MirtCoverage.cmake under $prefix"; exit 1; }
  programs="$source/tests/tools/instrument/programs"
  # Only the installed tree may be found: no mirt-cc from this build or PATH.
  cmake -S "$source/tests/install/covered" -B "$work/covered" -DCMAKE_PREFIX_PATH="$prefix" \
    -DMIRT_PROGRAMS="$programs" >"$work/covered.log"
  grep -q "app;util compiled and linked through $prefix/bin/mirt-cc" "$work/covered.log" ||
    { echo "mirt64_coverage(): not the installed mirt-cc"; cat "$work/covered.log"; exit 1; }
  cmake --build "$work/covered" >/dev/null
  libs=$(ldd "$work/covered/app")  # not piped: grep -q ends early, and ldd's SIGPIPE fails the pipe
  grep -q "$prefix/.*libmirt64.so" <<<"$libs" ||
    { echo "covered app: not linked to the installed library: $libs"; exit 1; }
  rm -f /tmp/mirt_exit.out
  "$work/covered/app" 12 >/dev/null || true  # its status is part of its output
  summary=$(cd "$work" && "$prefix/bin/mirt-report" --map covered summary /tmp/mirt_exit.out 2>&1)
  grep -q "util.c: 8 of 10 lines hit (80.0%).*never run: 17-18" <<<"$summary" ||
    { echo "covered app: unexpected coverage: $summary"; exit 1; }

  cmake -S "$programs/cmake_project" -B "$work/whole" -DCMAKE_PROJECT_INCLUDE="$module" \
    -DMIRT_EXIT_FILE="$work/runs/%e-%p.out" >"$work/whole.log"
  grep -q "compiling and linking through $prefix/bin/mirt-cc" "$work/whole.log" ||
    { echo "the installed module did not find the installed mirt-cc"; cat "$work/whole.log"; exit 1; }
  cmake --build "$work/whole" >/dev/null
  libs=$(ldd "$work/whole/app")
  grep -q "$prefix/.*libmirt64.so" <<<"$libs" ||
    { echo "whole project: not linked to the installed library: $libs"; cat "$work/whole.log"; exit 1; }
  # Its CTest test writes the file that the pattern names, headed by the test's name.
  (cd "$work/whole" && ctest >/dev/null) || true
  runs=("$work"/runs/app-*.out)
  [ ${#runs[@]} = 1 ] && [ "$(head -1 "${runs[0]}")" = "=== collatz_12" ] ||
    { echo "the CTest test was not named, or its exit file not by the pattern: ${runs[*]}"; exit 1; }
  echo "coverage from the installed tree alone: one call, and the module as the project include"
fi

echo "installed tree checked"
