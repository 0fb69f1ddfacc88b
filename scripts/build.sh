#!/usr/bin/env bash
# Configures and builds the native (POSIX) and the Windows (mingw-w64) trees under build/.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)

cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMIRT_BUILD_BENCHMARKS=ON "$@" >/dev/null
cmake --build build/native -j "$jobs"

cmake -S . -B build/windows -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" "$@" >/dev/null
cmake --build build/windows -j "$jobs"
