#!/usr/bin/env bash
# Builds the fuzz targets (clang, in build/asan, with AddressSanitizer and
# UndefinedBehaviorSanitizer), replays every kept regression input, then fuzzes
# each target for a fixed time, all targets at once (each time is wall-clock:
# the targets share the machine's processors).
#   scripts/fuzz.sh [seconds per target] [target ...]     (default: 30 seconds, every target)
# New inputs go to build/asan/fuzz-work/<target>/corpus; a crash, leak, time-out or
# over-large allocation leaves its input there as crash-*, leak-*, timeout-*
# or oom-*: after the fix, keep it in fuzz/regressions/<target>/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(index_file profile coverage_parser)
  for extra in data_file registration line_map; do
    [ -f "fuzz/${extra}_fuzzer.cpp" ] && targets+=("$extra")
  done
fi

scripts/asan_tree.sh
cmake --build build/asan -j "$(nproc)" --target "${targets[@]/#/fuzz_}" >/dev/null

# One target: the regression inputs once each, then fuzzing from the seed
# corpus and what earlier runs found. Over 64 MiB in one allocation, over
# 1 GiB in all or over 10 s for one input counts as a finding.
fuzz_one() {
  local name=$1 work=build/asan/fuzz-work/$1 binary=build/asan/bin/fuzz_$1
  mkdir -p "$work/corpus"
  local regressions=()
  for f in "fuzz/regressions/$name"/*; do
    [ -f "$f" ] && [ "$(basename "$f")" != .keep ] && regressions+=("$f")
  done
  if [ ${#regressions[@]} -gt 0 ] && ! "$binary" "${regressions[@]}" >"$work/regressions.log" 2>&1; then
    echo "fuzz $name: a regression input fails (see $work/regressions.log)"
    return 1
  fi
  if ! "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -malloc_limit_mb=64 \
      -print_final_stats=1 -artifact_prefix="$work/" "$work/corpus" "fuzz/corpus/$name" >"$work/fuzz.log" 2>&1; then
    echo "fuzz $name: FAILED (see $work/fuzz.log)"
    grep -m1 -E '^==[0-9]+==|ERROR|SUMMARY' "$work/fuzz.log" || true
    return 1
  fi
  local runs
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/fuzz.log")
  echo "fuzz $name: ${#regressions[@]} regression inputs, $runs inputs in ${seconds}s, no finding"
}

status=0
pids=()
for t in "${targets[@]}"; do
  fuzz_one "$t" &
  pids+=($!)
done
for p in "${pids[@]}"; do wait "$p" || status=1; done
exit $status
