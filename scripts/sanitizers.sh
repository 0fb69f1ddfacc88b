#!/usr/bin/env bash
# The native test suite under AddressSanitizer with UndefinedBehaviorSanitizer
# (build/asan), and the multi-thread and multi-process tests under
# ThreadSanitizer (build/tsan), with the races the runtime makes on purpose
# suppressed by name (tests/sanitizers/tsan_suppressions.txt).
#   scripts/sanitizers.sh [asan|tsan|all|build]
# "build" only builds both trees (scripts/test.sh does that at low priority
# while the native and Wine tests run).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
which=${1:-all}
status=0

# Tests that run several threads or processes against one runtime (the
# minute-long load test is left to the plain native run).
tsan_tests='Concurrent|Threads|Timer|Tick|IpcE2E|IpcEvents|CollectionTest'
tsan_targets=(unit_tests ipc_e2e_tests probe_app runtime_probe mirt64)

build_asan() {
  scripts/asan_tree.sh
  cmake --build build/asan -j "$jobs" >/dev/null
}
build_tsan() {
  cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMIRT_SANITIZE=thread \
    -DMIRT_BUILD_TOOLS=OFF -DMIRT_BUILD_BENCHMARKS=OFF >/dev/null
  cmake --build build/tsan -j "$jobs" --target "${tsan_targets[@]}" >/dev/null
}

if [ "$which" = build ]; then
  build_asan
  build_tsan
  exit 0
fi

if [ "$which" = asan ] || [ "$which" = all ]; then
  echo "== native tests under AddressSanitizer and UndefinedBehaviorSanitizer"
  build_asan
  (cd build/asan &&
    ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --output-on-failure -j "$jobs" -E '^fuzz') || status=1
fi

if [ "$which" = tsan ] || [ "$which" = all ]; then
  echo "== multi-thread and multi-process tests under ThreadSanitizer"
  build_tsan
  (cd build/tsan &&
    TSAN_OPTIONS="suppressions=$root/tests/sanitizers/tsan_suppressions.txt halt_on_error=1 second_deadlock_stack=1" \
    ctest --output-on-failure -j "$jobs" -R "$tsan_tests") || status=1
fi
exit $status
