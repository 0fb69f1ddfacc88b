#!/usr/bin/env bash
# Configures build/asan: clang with AddressSanitizer and UndefinedBehaviorSanitizer,
# the runtime, its tests and the fuzz targets (no developer tools, no benchmarks).
# One tree serves scripts/sanitizers.sh and scripts/fuzz.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
CC=clang CXX=clang++ cmake -S . -B build/asan -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DMIRT_SANITIZE=address,undefined -DMIRT_BUILD_FUZZERS=ON -DMIRT_BUILD_TOOLS=OFF \
  -DMIRT_BUILD_BENCHMARKS=OFF -DMIRT_BUILD_TESTS=ON >/dev/null
