#!/usr/bin/env bash
# Runs one Windows program under Wine for the test runner.
#
# Now and then, under load, Wine ends a program before it has started: at
# once, with a failing status and no output at all (a test program prints its
# banner before anything else). Only such a run is started again, at most
# twice, and the wrapper says so on standard error; a program that ran, or
# took longer than any start failure does, keeps its own status and output.
wine=${WINE:-/usr/lib/wine/wine64}
output=$(mktemp "${TMPDIR:-/tmp}/wine-run.XXXXXX") || exit 125
trap 'rm -f "$output"' EXIT
for attempt in 1 2 3; do
  started=$(date +%s%N)
  "$wine" "$@" 2>&1 | tee "$output"
  status=${PIPESTATUS[0]}
  elapsed_ms=$(( ($(date +%s%N) - started) / 1000000 ))
  if [ "$status" -eq 0 ] || [ -s "$output" ] || [ "$elapsed_ms" -ge 20 ] || [ "$attempt" -eq 3 ]; then
    exit "$status"
  fi
  echo "wine_run: the program did not start (status $status after ${elapsed_ms} ms, no output); starting it again" >&2
done
