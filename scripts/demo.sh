#!/usr/bin/env bash
# The main job: builds the runtime and the hand-instrumented example, runs it,
# and shows the coverage file it wrote (natively, and as a Windows program
# under Wine when the Windows build tools are there).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
scripts/setup.sh

cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j "$(nproc)" --target demo >/dev/null
run=$(mktemp -d)
# The index file numbers named points across every run on the machine, and
# its listed points start with one hit each: the demo starts a fresh one.
rm -f /tmp/index.txt
echo "== native run (build/native/bin/demo)"
(cd "$run" && "$root/build/native/bin/demo" native.out)
echo
echo "== coverage file written by the native run ($run/native.out):"
cat "$run/native.out"

if command -v x86_64-w64-mingw32-g++-posix >/dev/null && [ -x /usr/lib/wine/wine64 ]; then
  cmake -S . -B build/windows -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
  cmake --build build/windows -j "$(nproc)" --target demo >/dev/null
  MIRT_BUILD="$root/build"
  source scripts/wine_env.sh
  trap wine_stop EXIT
  wine_start
  echo
  rm -f "$WINEPREFIX/drive_c/temp/index.txt"
  echo "== Windows run under Wine (build/windows/bin/demo.exe)"
  (cd "$run" && "$WINE" "$root/build/windows/bin/demo.exe" windows.out)
  if cmp -s "$run/native.out" "$run/windows.out"; then
    echo "the Windows run wrote the same bytes ($run/windows.out)"
  else
    echo "the Windows run wrote different bytes:"
    diff "$run/native.out" "$run/windows.out" || true
    exit 1
  fi
fi
echo
echo "trace of named points (3-byte records): $(stat -c %s "$run/trace.out") bytes in $run/trace.out"
