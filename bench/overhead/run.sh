#!/usr/bin/env bash
# Times the variants that variants.sh built, in one session:
#
#   run.sh OUT_DIR SIZE ROUNDS [VARIANT...]
#
# Each round starts every variant once, in turn, so that a slow spell of the
# machine falls on all of them alike. Prints one line per variant:
#   VARIANT MEDIAN_WORK_NS MEDIAN_DUMP_NS
# and fails when a variant computes another result than the first one (an
# instrumented build must not change what the program does).
set -euo pipefail
out=$(cd "$1" && pwd)
size=$2
rounds=$3
shift 3
variants=("$@")
if [ ${#variants[@]} -eq 0 ]; then
    for f in "$out"/overhead_*; do variants+=("${f##*/overhead_}"); done
fi

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Coverage files that the variants leave: clang's default profile, gcov's
# .gcda files (under GCOV_PREFIX) and the runtime's trace go to the scratch folder.
export LLVM_PROFILE_FILE="$scratch/default.profraw"
export GCOV_PREFIX="$scratch/gcov"

expected=""
for ((r = 0; r < rounds; r++)); do
    for v in "${variants[@]}"; do
        line=$(cd "$scratch" && "$out/overhead_$v" "$size" "$scratch/$v.out")
        result=${line%% *}
        if [ -z "$expected" ]; then expected=$result; fi
        if [ "$result" != "$expected" ]; then
            echo "$v: $result, expected $expected" >&2
            exit 1
        fi
        work=${line#* work_ns=}; work=${work%% *}
        dump=${line##* dump_ns=}
        echo "$work" >>"$scratch/$v.work"
        echo "$dump" >>"$scratch/$v.dump"
        rm -f "$scratch/$v.out" "$scratch/trace.out"
    done
done

median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : int((v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }
for v in "${variants[@]}"; do
    echo "$v $(median "$scratch/$v.work") $(median "$scratch/$v.dump")"
done
