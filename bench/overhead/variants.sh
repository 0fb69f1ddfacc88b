#!/usr/bin/env bash
# Builds the workload in every variant that the overhead table compares:
#
#   variants.sh OUT_DIR LIB_DIR [VARIANT...]
#
# OUT_DIR receives one executable overhead_VARIANT per variant; LIB_DIR holds
# libmirt64.so (and mirt-cc, for the mirt_cc variant). With no VARIANT named,
# every variant is built. Each variant is the same source at -O2; only the
# instrumentation differs: by hand (the PROBE() macros) or by mirt-cc, which
# places its own probes in the plain source (its lines and branches).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
out=$1
lib=$(cd "$2" && pwd)
shift 2
all=(plain gcov gcov_atomic clang_plain clang_profile clang_sancov mirt_cc mirt_table mirt_fn mirt_fn2 mirt_obj)
variants=("$@")
[ ${#variants[@]} -gt 0 ] || variants=("${all[@]}")
mkdir -p "$out"
out=$(cd "$out" && pwd)

GXX=${GXX:-g++}
CLANGXX=${CLANGXX:-clang++}
common=(-std=c++17 -O2 -I "$here" -I "$root/include")
mirt_link=(-L "$lib" -Wl,-rpath,"$lib" -lmirt64)

# build VARIANT COMPILER "WORKLOAD FLAGS" "HARNESS FLAGS" "LINK FLAGS" [EXTRA SOURCE]
# (LAUNCHER, when set, runs the workload's compile)
build() {
    local name=$1 cxx=$2 wflags=$3 hflags=$4 lflags=$5 extra=${6:-}
    local dir="$out/obj_$name"
    rm -rf "$dir"
    mkdir -p "$dir"
    # shellcheck disable=SC2086
    ${LAUNCHER:-} "$cxx" "${common[@]}" $wflags -c "$here/workload.cpp" -o "$dir/workload.o"
    # shellcheck disable=SC2086
    "$cxx" "${common[@]}" $hflags -c "$here/harness.cpp" -o "$dir/harness.o"
    local objs=("$dir/workload.o" "$dir/harness.o")
    if [ -n "$extra" ]; then
        "$cxx" "${common[@]}" -c "$here/$extra" -o "$dir/extra.o"
        objs+=("$dir/extra.o")
    fi
    # shellcheck disable=SC2086
    "$cxx" "${objs[@]}" $lflags -o "$out/overhead_$name"
}

for v in "${variants[@]}"; do
    case $v in
    plain)         build plain "$GXX" "" "" "" ;;
    gcov)          build gcov "$GXX" "--coverage" "-DDUMP_GCOV" "--coverage" ;;
    gcov_atomic)   build gcov_atomic "$GXX" "--coverage -fprofile-update=atomic" "-DDUMP_GCOV" "--coverage" ;;
    clang_plain)   build clang_plain "$CLANGXX" "" "" "" ;;
    clang_profile) build clang_profile "$CLANGXX" "-fprofile-instr-generate -fcoverage-mapping" \
                       "-DDUMP_LLVM_PROFILE" "-fprofile-instr-generate" ;;
    clang_sancov)  build clang_sancov "$CLANGXX" "-fsanitize-coverage=trace-pc-guard" "-DDUMP_SANCOV" "" \
                       sancov_counters.cpp ;;
    mirt_cc)       LAUNCHER="$lib/mirt-cc" build mirt_cc "$GXX" "" "-DDUMP_MIRT" "${mirt_link[*]}" ;;
    mirt_table)    build mirt_table "$GXX" "-DPROBE_STYLE_TABLE" "-DDUMP_MIRT" "${mirt_link[*]}" ;;
    mirt_fn)       build mirt_fn "$GXX" "-DPROBE_STYLE_FN" "-DDUMP_MIRT" "${mirt_link[*]}" ;;
    mirt_fn2)      build mirt_fn2 "$GXX" "-DPROBE_STYLE_FN2" "-DDUMP_MIRT" "${mirt_link[*]}" ;;
    mirt_obj)      build mirt_obj "$GXX" "-DPROBE_STYLE_OBJ" "-DDUMP_MIRT" "${mirt_link[*]}" ;;
    *) echo "unknown variant: $v" >&2; exit 2 ;;
    esac
done
