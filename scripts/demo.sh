#!/usr/bin/env bash
# The main job: builds the runtime and mirt-cc, builds an ordinary program
# (examples/instrumented, no probes in its sources) through mirt-cc with one
# CMake setting, runs it and shows the coverage that the runtime wrote when it
# ended; then the hand-instrumented example of the raw probe API. Both run
# natively and, when the Windows build tools are there, as Windows programs
# under Wine, which must write the same counts.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
scripts/setup.sh

cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j "$(nproc)" --target mirt-cc demo >/dev/null
run=$(mktemp -d)
# Counts after the two header lines (which name the process).
counts() { tail -n +3 "$1"; }

echo "== examples/instrumented built through mirt-cc: -DCMAKE_PROJECT_INCLUDE=cmake/MirtCoverage.cmake"
cmake -S examples/instrumented -B build/example-native -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_PROJECT_INCLUDE="$root/cmake/MirtCoverage.cmake" -DMIRT_CC="$root/build/native/bin/mirt-cc" >/dev/null
# Built afresh: a build made by an older mirt-cc would keep its older probes.
cmake --build build/example-native --clean-first >/dev/null
rm -f /tmp/mirt_exit.out
(cd "$run" && "$root/build/example-native/textstats")
cp /tmp/mirt_exit.out "$run/example-native.out"
echo
echo "== coverage written at exit (/tmp/mirt_exit.out): source line, hits"
cat "$run/example-native.out"
if cmake --build build/native -j "$(nproc)" --target mirt-report >/dev/null 2>&1; then
  echo
  echo "== what ran and what never ran: mirt-report with the line maps that mirt-cc left in the build"
  echo "   build/native/bin/mirt-report --map build/example-native --source-root \$PWD summary ..."
  build/native/bin/mirt-report --map build/example-native --source-root "$root" summary "$run/example-native.out"
  if command -v genhtml >/dev/null; then
    build/native/bin/mirt-report --map build/example-native --source-root "$root" lcov \
      "$run/example-native.out" -o "$run/example.info"
    genhtml --quiet "$run/example.info" -o "$run/example-html" >/dev/null 2>&1 &&
      echo "   HTML report, never-run lines in red: $run/example-html/index.html"
  fi
fi

# The index file numbers named points across every run on the machine, and
# its listed points start with one hit each: the demo starts a fresh one.
rm -f /tmp/index.txt
echo
echo "== the raw probe API, written by hand (examples/demo.cpp): build/native/bin/demo"
(cd "$run" && "$root/build/native/bin/demo" native.out)
echo
echo "== coverage file written by the native run ($run/native.out):"
cat "$run/native.out"

if command -v x86_64-w64-mingw32-g++-posix >/dev/null && [ -x /usr/lib/wine/wine64 ]; then
  cmake -S . -B build/windows -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
  cmake --build build/windows -j "$(nproc)" --target mirt64 demo >/dev/null
  cmake -S examples/instrumented -B build/example-windows -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_PROJECT_INCLUDE="$root/cmake/MirtCoverage.cmake" -DMIRT_CC="$root/build/native/bin/mirt-cc" \
    -DMIRT_LIB_DIR="$root/build/windows/lib" >/dev/null
  cmake --build build/example-windows --clean-first >/dev/null
  cp build/windows/bin/mirt64.dll build/example-windows/
  MIRT_BUILD="$root/build"
  source scripts/wine_env.sh
  trap wine_stop EXIT
  wine_start
  echo
  echo "== Windows runs under Wine (build/example-windows/textstats.exe, build/windows/bin/demo.exe)"
  rm -f "$WINEPREFIX/drive_c/temp/mirt_exit.out" "$WINEPREFIX/drive_c/temp/index.txt"
  (cd "$run" && "$WINE" "$root/build/example-windows/textstats.exe")
  cp "$WINEPREFIX/drive_c/temp/mirt_exit.out" "$run/example-windows.out"
  (cd "$run" && "$WINE" "$root/build/windows/bin/demo.exe" windows.out)
  if cmp -s <(counts "$run/example-native.out") <(counts "$run/example-windows.out") &&
     cmp -s "$run/native.out" "$run/windows.out"; then
    echo "the Windows runs wrote the same counts ($run/example-windows.out, $run/windows.out)"
  else
    echo "the Windows runs wrote different counts:"
    diff <(counts "$run/example-native.out") <(counts "$run/example-windows.out") || true
    diff "$run/native.out" "$run/windows.out" || true
    exit 1
  fi
fi
echo
echo "trace of named points (3-byte records): $(stat -c %s "$run/trace.out") bytes in $run/trace.out"
