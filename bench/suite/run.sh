#!/usr/bin/env bash
# Times a real project's test suite built two ways, in one session:
#
#   run.sh WORK ROUNDS [CTEST ARGS...]
#
# WORK holds the project's CMake build with g++ --coverage (WORK/gcov) and
# through mirt-cc in the table style (WORK/mirt), as
# scripts/measure_against_gcov.sh leaves them. Each round runs the suite
# (ctest with the given arguments) once in each build, in an order that
# alternates, so that a slow spell of the machine falls on both alike.
# Prints the median processor time (user and system, of ctest and every
# test process) of each build and their ratio:
#   gcov SECONDS mirt SECONDS ratio MIRT/GCOV
set -euo pipefail
work=$(cd "$1" && pwd)
rounds=$2
shift 2
for build in gcov mirt; do
    [ -f "$work/$build/CTestTestfile.cmake" ] || { echo "run.sh: no test build in $work/$build" >&2; exit 2; }
done

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Each run's coverage goes to the scratch folder: gcov's .gcda files under
# GCOV_PREFIX, the runtime's exit file and its runtime folder under TMPDIR.
export GCOV_PREFIX="$scratch/gcov" MIRT_EXIT_FILE="$scratch/exit.out" TMPDIR="$scratch"

TIMEFORMAT='%U %S'
for ((r = 0; r < rounds; r++)); do
    order=(gcov mirt)
    if ((r % 2 == 1)); then order=(mirt gcov); fi
    for build in "${order[@]}"; do
        # ctest's exit status is the suite's; a failing test is timed all the same.
        times=$( { time (cd "$work/$build" && ctest "$@" >/dev/null 2>&1 || true); } 2>&1 )
        echo "$times" | awk '{ print $1 + $2 }' >>"$scratch/$build.times"
        rm -f "$scratch/exit.out"
    done
done

median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
gcov=$(median "$scratch/gcov.times")
mirt=$(median "$scratch/mirt.times")
awk -v g="$gcov" -v m="$mirt" 'BEGIN { printf "gcov %.2f mirt %.2f ratio %.2f\n", g, m, (g > 0 ? m / g : 0) }'
