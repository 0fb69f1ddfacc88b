#!/usr/bin/env bash
# Measures the probes and the whole-program overhead of every probe style
# against the established coverage tools, and writes BENCHMARKS.md from the
# measurements. BENCH_SIZE (workload size) and BENCH_ROUNDS (runs per
# variant, the median is kept) tune the overhead part.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
size=${BENCH_SIZE:-20000}
rounds=${BENCH_ROUNDS:-9}
build=$root/build/native
report=${BENCH_REPORT:-$root/BENCHMARKS.md}

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMIRT_BUILD_BENCHMARKS=ON >/dev/null
cmake --build "$build" --target mirt64 probe_bench line_map_bench startup_bench -j "$(nproc)" >/dev/null

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

echo "== probe micro-benchmarks"
# mirt_obj traces into trace.out in the current folder: the scratch folder.
(cd "$scratch" && "$build/bin/probe_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    --benchmark_format=csv) >"$scratch/probe.csv" 2>"$scratch/probe.err"
rm -f "$scratch/trace.out"

echo "== reading the line maps of 10,000 translation units"
"$build/bin/line_map_bench" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
    --benchmark_format=csv >"$scratch/maps.csv" 2>"$scratch/maps.err"

echo "== start and end of short processes"
"$build/bin/startup_bench" --benchmark_out="$scratch/startup.csv" --benchmark_out_format=csv >"$scratch/startup.txt" 2>&1

echo "== whole-program overhead: building the variants"
bench/overhead/variants.sh "$build/bench-overhead" "$build/bin"
echo "== whole-program overhead: $rounds rounds of size $size"
bench/overhead/run.sh "$build/bench-overhead" "$size" "$rounds" \
    plain gcov gcov_atomic clang_plain clang_profile clang_sancov mirt_cc mirt_table mirt_fn mirt_fn2 mirt_obj \
    >"$scratch/overhead.txt"

# googletest's own tests (those of the measure test), built with gcov and
# through mirt-cc as the measurement builds them, then timed both ways.
suite=""
if [ -f /usr/src/googletest/CMakeLists.txt ]; then
    echo "== a real test suite: googletest's own tests, built both ways"
    mapfile -t gtests <tests/measure/googletest_tests.txt
    pattern=$(IFS='|'; echo "${gtests[*]}")
    targets=()
    for t in "${gtests[@]}"; do targets+=(--target "$t"); done
    scripts/measure_against_gcov.sh /usr/src/googletest --work "$build/bench-suite" --mirt "$build" \
        --cmake-arg -DBUILD_GMOCK=OFF --cmake-arg -Dgtest_build_tests=ON "${targets[@]}" \
        --test "ctest -j1 -R '^($pattern)\$'" >"$scratch/suite-build.log" 2>&1
    echo "== the suite: 5 rounds"
    bench/suite/run.sh "$build/bench-suite" 5 -j1 -R "^($pattern)\$" >"$scratch/suite.txt"
    suite=$(cat "$scratch/suite.txt")
fi

cpu=$(lscpu 2>/dev/null | sed -n 's/^Model name: *//p' | head -1)
{
    echo "# Benchmarks"
    echo
    echo "Written by \`scripts/bench.sh\` on $(date -u '+%Y-%m-%d %H:%M UTC'); every number below is measured by that run."
    echo
    echo "## Machine"
    echo
    echo "- CPU: ${cpu:-unknown}, $(nproc) CPUs available; load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
    echo "- System: $(uname -srm)"
    echo "- $(g++ --version | head -1)"
    echo "- $(clang++ --version | head -1)"
    echo "- Google Benchmark $(dpkg-query -W -f='${Version}' libbenchmark-dev 2>/dev/null || echo unknown)"
    echo
    echo "## One probe (bench/probe_bench.cpp)"
    echo
    echo "CPU time per call, median of 5 repetitions, called through \`libmirt64.so\` as an instrumented"
    echo "program calls it; the floors are measured in the same run."
    echo
    echo "| benchmark | ns per call | minus inline floor | minus call floor |"
    echo "|---|---:|---:|---:|"
    awk -F, '
        /_median"?,/ {
            name = $1; gsub(/"/, "", name); sub(/_median$/, "", name)
            cpu = $4; unit = $5; gsub(/"/, "", unit)
            if (unit == "us") cpu *= 1000; else if (unit == "ms") cpu *= 1000000
            names[++n] = name; ns[name] = cpu
        }
        END {
            inline_floor = ns["BM_Floor_InlineIncrement"]; call_floor = ns["BM_Floor_OutOfLineCall"]
            for (i = 1; i <= n; i++)
                printf "| %s | %.2f | %+.2f | %+.2f |\n", names[i], ns[names[i]], ns[names[i]] - inline_floor, ns[names[i]] - call_floor
        }' "$scratch/probe.csv"
    echo
    echo "## Whole program (bench/overhead/)"
    echo
    echo "\`workload.cpp\` (sorting, hashing, an expression parser and a bytecode machine over generated"
    echo "input) with a probe at every basic block, built at -O2 in each variant and run $rounds times in"
    echo "turn (size $size); the table gives the median time of one run of the workload, its ratio to the"
    echo "uninstrumented build of the same compiler, and the median time of the explicit final write or"
    echo "dump of the coverage that the variant collected (\`__gcov_dump\`, \`__llvm_profile_write_file\`,"
    echo "the callback's own table written as text, \`mirt_write_coverage_data\`). Every variant computes"
    echo "the same result; the runner checks it."
    echo
    echo "| variant | instrumentation | run (ms) | ratio to g++ | ratio to clang++ | final write (ms) |"
    echo "|---|---|---:|---:|---:|---:|"
    awk '
        BEGIN {
            what["plain"] = "g++ -O2, none"
            what["gcov"] = "g++ --coverage"
            what["gcov_atomic"] = "g++ --coverage -fprofile-update=atomic"
            what["clang_plain"] = "clang++ -O2, none"
            what["clang_profile"] = "clang++ -fprofile-instr-generate -fcoverage-mapping"
            what["clang_sancov"] = "clang++ -fsanitize-coverage=trace-pc-guard, counting callback"
            what["mirt_cc"] = "mirt-cc, `table` style: its own probes for lines and branches"
            what["mirt_table"] = "mirt: `mirt_reg2` table, inline increment per block"
            what["mirt_fn"] = "mirt: `mirt_fn(int)` per block"
            what["mirt_fn2"] = "mirt: `mirt_fn2(file, line)` per block"
            what["mirt_obj"] = "mirt: a `mirt_obj` per function"
        }
        { names[++n] = $1; work[$1] = $2; dump[$1] = $3 }
        END {
            for (i = 1; i <= n; i++) {
                v = names[i]
                clang = (v ~ /^clang/) ? sprintf("%.2fx", work[v] / work["clang_plain"]) : "";
                printf "| %s | %s | %.1f | %.2fx | %s | %.3f |\n", v, what[v], work[v] / 1e6, work[v] / work["plain"], clang, dump[v] / 1e6
            }
        }' "$scratch/overhead.txt"
    echo
    echo "## Reading line maps (bench/line_map_bench.cpp)"
    echo
    echo "\`mirt-report\` loading the maps of 10,000 translation units (120 probed lines and 12 functions"
    echo "each, in 100 folders), next to reading the same files' bytes and nothing more; median of 3."
    echo
    echo "| benchmark | ms | ratio to reading the bytes |"
    echo "|---|---:|---:|"
    awk -F, '
        /_median"?,/ {
            name = $1; gsub(/"/, "", name); sub(/_median$/, "", name)
            names[++n] = name; ms[name] = $3
        }
        END {
            for (i = 1; i <= n; i++)
                printf "| %s | %.0f | %.2fx |\n", names[i], ms[names[i]], ms[names[i]] / ms["BM_ReadBytesOnly"]
        }' "$scratch/maps.csv"
    echo
    echo "## Start and end of a process (bench/startup/)"
    echo
    echo "A short program built plain, with \`g++ --coverage\` and through \`mirt-cc\` (table style), as"
    echo "one source (\`startup\`) and as one source with twelve more (\`startup_units\`), started with"
    echo "\`posix_spawn\` and waited for: a trivial run that ends at once, and a suite of 22 short test"
    echo "runs. Each iteration starts the three builds in turn, in a rotating order; processor time of"
    echo "the started processes (user and system, from \`wait4\`), median of 5 repetitions, each process"
    echo "writing its coverage at exit; the ratios are those of the same iterations' sums."
    echo
    echo "| run | plain | gcov | mirt | mirt / plain | mirt / gcov | gcov / plain |"
    echo "|---|---:|---:|---:|---:|---:|---:|"
    awk -F, '
        /^name,/ { for (i = 1; i <= NF; i++) { c = $i; gsub(/"/, "", c); col[c] = i } }
        /_median"?,/ {
            name = $1; gsub(/"/, "", name); sub(/\/repeats.*$/, "", name)
            printf "| %s | %.0f us | %.0f us | %.0f us | %.2fx | %.2fx | %.2fx |\n", name,
                $col["plain_us"], $col["gcov_us"], $col["mirt_us"],
                $col["mirt_per_plain"], $col["mirt_per_gcov"], $col["gcov_per_plain"]
        }' "$scratch/startup.csv"
    echo
    echo "## A real test suite (bench/suite/)"
    echo
    if [ -n "$suite" ]; then
        echo "googletest's own tests (the 14 of \`tests/measure\`, from /usr/src/googletest), built with"
        echo "\`g++ --coverage\` and through \`mirt-cc\` (\`table\` style: lines and branches), run with"
        echo "\`ctest -j1\` once in each build per round, 5 rounds in alternating order; median processor"
        echo "time (user and system, of ctest and every test process), each process writing its coverage."
        echo
        echo "| gcov (s) | mirt (s) | mirt / gcov |"
        echo "|---:|---:|---:|"
        echo "$suite" | awk '{ printf "| %s | %s | %.2fx |\n", $2, $4, $6 }'
    else
        echo "Not measured: /usr/src/googletest is not installed."
    fi
    echo
    cat bench/findings.md
} >"$report"
echo "wrote $report"
